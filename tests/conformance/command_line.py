"""Whole runs of the tool: privileges, standard input, output formats, exit statuses, help on terminals."""

import unittest

from world import TOOL, ToolTestCase

VERSION = {
    "text": "- Version Information -\n"
            "Name: Velko(R) Nimbrel Tool\n"
            "Version: 2.2.18\n"
            "Description: Interact and configure Velko SSDs.\n"
            "\n"
            "\n",
    "nvmxml": "<RootList>\n"
              "<Version_Information>\n"
              "\t<Name>Velko(R) Nimbrel Tool</Name>\n"
              "\t<Version>2.2.18</Version>\n"
              "\t<Description>Interact and configure Velko SSDs.</Description>\n"
              "</Version_Information>\n"
              "</RootList>\n"
              "\n",
    "json": '{\n'
            '\t"Version Information":\n'
            '\t{\n'
            '\t\t"Name":"Velko(R) Nimbrel Tool",\n'
            '\t\t"Version":"2.2.18",\n'
            '\t\t"Description":"Interact and configure Velko SSDs."\n'
            '\t}\n'
            '}\n'
            '\n',
    "esx": '<?xml version="1.0"?><output xmlns="http://www.vmware.com/Products/ESX/5.0/esxcli/">'
           '<list type="structure">'
           '<structure typeName="KeyValue"><field name="Attribute Name"><string>Name</string></field>'
           '<field name="Value"><string>Velko(R) Nimbrel Tool</string></field></structure>'
           '<structure typeName="KeyValue"><field name="Attribute Name"><string>Version</string></field>'
           '<field name="Value"><string>2.2.18</string></field></structure>'
           '<structure typeName="KeyValue"><field name="Attribute Name"><string>Description</string></field>'
           '<field name="Value"><string>Interact and configure Velko SSDs.</string></field></structure>'
           '</list></output>\n',
}

BAD_OUTPUT = "Option 'output' expects 'text', 'nvmxml' or 'json'."

# The pieces run together when standard input is no terminal: nothing is wrapped, and no line end is added.
VERSION_HELP_UNWRAPPED = (
    "Name: Version\n"
    "Description:\n"
    "Show tool version information. Use '-all' or '-display license' to display the tool's End-User License agreement."
    "Synopsis:\n"
    "version [-all|-a] [-display|-d (Property1,...)] [-help|-h] [-output|-o (text|nvmxml|json)]"
    "Verb:\n"
    "    version\n"
    "Options:\n"
    "[-all|-a] -- Display all possible attributes."
    "[-display|-d (Property1,...)] -- Specify which attributes are displayed."
    "[-help|-h] -- Display help for the command."
    '[-output|-o (text|nvmxml|json)] -- Change the output format. One of "text", "nvmxml" or "json".'
    "Targets:\n"
    "Properties:\n"
    "\n"
    "\n")

VERSION_HELP = {
    40: "Name: Version\n"
        "Description:\n"
        "    Show tool version information. Use\n"
        "    '-all' or '-display license' to display\n"
        "    the tool's End-User License agreement.\n"
        "Synopsis:\n"
        "    version [-all|-a] [-display|-d\n"
        "    (Property1,...)] [-help|-h] [-output|-o\n"
        "    (text|nvmxml|json)]\n"
        "Verb:\n"
        "    version\n"
        "Options:\n"
        "    [-all|-a] -- Display all possible\n"
        "    attributes.\n"
        "    [-display|-d (Property1,...)] --\n"
        "    Specify which attributes are displayed.\n"
        "    [-help|-h] -- Display help for the\n"
        "    command.\n"
        "    [-output|-o (text|nvmxml|json)] --\n"
        "    Change the output format. One of\n"
        '    "text", "nvmxml" or "json".\n'
        "Targets:\n"
        "Properties:\n"
        "\n"
        "\n",
    80: "Name: Version\n"
        "Description:\n"
        "    Show tool version information. Use '-all' or '-display license' to display the\n"
        "    tool's End-User License agreement.\n"
        "Synopsis:\n"
        "    version [-all|-a] [-display|-d (Property1,...)] [-help|-h] [-output|-o\n"
        "    (text|nvmxml|json)]\n"
        "Verb:\n"
        "    version\n"
        "Options:\n"
        "    [-all|-a] -- Display all possible attributes.\n"
        "    [-display|-d (Property1,...)] -- Specify which attributes are displayed.\n"
        "    [-help|-h] -- Display help for the command.\n"
        '    [-output|-o (text|nvmxml|json)] -- Change the output format. One of "text",\n'
        '    "nvmxml" or "json".\n'
        "Targets:\n"
        "Properties:\n"
        "\n"
        "\n",
    200: "Name: Version\n"
         "Description:\n"
         "    Show tool version information. Use '-all' or '-display license' to display the tool's End-User License "
         "agreement.\n"
         "Synopsis:\n"
         "    version [-all|-a] [-display|-d (Property1,...)] [-help|-h] [-output|-o (text|nvmxml|json)]\n"
         "Verb:\n"
         "    version\n"
         "Options:\n"
         "    [-all|-a] -- Display all possible attributes.\n"
         "    [-display|-d (Property1,...)] -- Specify which attributes are displayed.\n"
         "    [-help|-h] -- Display help for the command.\n"
         '    [-output|-o (text|nvmxml|json)] -- Change the output format. One of "text", "nvmxml" or "json".\n'
         "Targets:\n"
         "Properties:\n"
         "\n"
         "\n",
}


class Privileges(ToolTestCase):
    def test_an_ordinary_user_is_turned_away_whatever_the_command(self):
        for arguments in ([], ["help"], ["version"], ["version", "-o", "json"], ["nonsense"]):
            self.check(*arguments, root=False, status=238, stdout=f"{TOOL} Requires admin privileges.\n")

    def test_nothing_is_started_or_written_for_an_ordinary_user(self):
        self.check("version", root=False, status=238, stdout=f"{TOOL} Requires admin privileges.\n")
        self.assertEqual(sorted(p.name for p in self.world.opt.iterdir()), [])
        self.assertEqual(sorted(p.name for p in self.world.var_log.iterdir()), [])


class Formats(ToolTestCase):
    def test_every_output_keyword_in_every_case(self):
        for keyword, expected in VERSION.items():
            for spelling in (keyword, keyword.upper(), keyword.capitalize(), keyword[:-1] + keyword[-1].upper()):
                for option in ("-output", "-o", "-OUTPUT", "-O"):
                    self.check("version", option, spelling, stdout=expected)

    def test_without_the_option_the_output_is_text(self):
        self.check("version", stdout=VERSION["text"])
        self.check("VERSION", stdout=VERSION["text"])

    def test_bad_output_keywords_change_nothing_and_end_in_a_syntax_error(self):
        for keyword in ("table", "xml", "jsonx", "tex", "yaml", "3", "-", "ünicode", b"\xff\xfe"):
            self.check("version", "-o", keyword, status=201, stdout=f"Syntax Error: {BAD_OUTPUT}\n")
        self.check("version", "-o", status=201, stdout=f"Syntax Error: {BAD_OUTPUT}\n")
        self.check("version", "-o", "", status=201, stdout=f"Syntax Error: {BAD_OUTPUT}\n")

    def test_csv_is_refused_in_csv(self):
        # The results can render it, and so the refusal is rendered in it; only the check of the options turns it down.
        for keyword in ("csv", "CSV"):
            self.check("version", "-o", keyword, status=201,
                       stdout=f"Error_Type,201,\nError_Description,Syntax Error: {BAD_OUTPUT},\n\n")

    def test_two_output_values_are_refused(self):
        self.check("version", "-o", "json,text", status=201, stdout=f"Syntax Error: {BAD_OUTPUT}\n")
        self.check("version", "-o", "json", "text", status=201,
                   stdout='{\n\t"Error_Type":201,\n\t"Error_Description":"Syntax Error: Invalid command. '
                          'Error at or around \'text\'."\n}\n\n')

    def test_a_syntax_error_is_rendered_in_the_format_that_was_read_before_it(self):
        text = "Syntax Error: Invalid command. Error at or around 'bogus'."
        self.check("bogus", "-o", "nvmxml", status=201, stdout=f'<Error Type="201">{text}</Error>\n\n')
        self.check("bogus", "-o", "json", status=201, stdout=f"{text}\n")
        self.check("bogus", status=201, stdout=f"{text}\n")

    def test_a_duplicate_option_is_reported_by_its_long_name(self):
        message = "Duplicate token found. The Option '-all' was found more than once."
        self.check("version", "-a", "-all", status=201, stdout=f"Syntax Error: {message}\n")

    def test_all_and_display_exclude_each_other(self):
        self.check("version", "-a", "-d", "license", status=201,
                   stdout="Syntax Error: Options 'all' and 'display' cannot be used together.\n")

    def test_a_failure_of_a_feature_has_its_own_status(self):
        self.check("version", "-display", "foo", status=8,
                   stdout="Error: Invalid license parameter, use -d license to view the license.\n")


class StandardInput(ToolTestCase):
    def test_version_does_not_depend_on_it(self):
        for options in (dict(stdin="closed"), dict(stdin=b"anything\n"), dict(terminal=80)):
            self.check("version", stdout=VERSION["text"], **options)

    def test_help_is_wrapped_to_the_terminal(self):
        for columns, expected in VERSION_HELP.items():
            self.check("help", "Name=Version", terminal=columns, stdout=expected)
            self.check("version", "-help", terminal=columns, stdout=expected)

    def test_help_runs_together_without_a_terminal(self):
        for options in (dict(stdin="closed"), dict(stdin=b"anything\n"), dict()):
            self.check("help", "Name=version", stdout=VERSION_HELP_UNWRAPPED, **options)

    def test_no_arguments_is_the_list_of_commands(self):
        for options in (dict(), dict(stdin="closed"), dict(terminal=80)):
            self.assertEqual(self.world.run(**options), self.world.run("help", **options))


class StandardOutput(ToolTestCase):
    def test_a_full_device_is_a_failure(self):
        with open("/dev/full", "w") as full:
            run = self.world.run("version", stdout=full)
        self.assertEqual((run.status, run.stderr), (1, "Cannot write to standard output: "
                                                       "No space left on device\n"))


if __name__ == "__main__":
    unittest.main()
