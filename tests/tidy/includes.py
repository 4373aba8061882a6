"""The folders of the product include what their targets depend on, and no more; and nothing includes itself in a
circle. include_graph.py says how that is found out; NIMBREL_TARGETS names the file that CMake wrote."""
import os
import tempfile
import unittest

from include_graph import IncludeGraph, cycles, read_targets

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")

# Units that need each other. A set that is no longer a circle as it is here has to go.
KNOWN_CYCLES = [
    # Each function of the core leaves a trace, those that open the file for the traces included.
    ["ostrel/core/FileRules", "ostrel/core/LogFile", "ostrel/core/Logging", "ostrel/core/ScopeTrace",
     "ostrel/core/SystemError"],
    # A tree: an object holds lists, and a list holds objects.
    ["ostrel/core/xml/XmlChildren", "ostrel/core/xml/XmlList", "ostrel/core/xml/XmlObject"],
    # The engine has a command "help", which asks the engine for its commands.
    ["ostrel/interfaces/cli/cliframework/Framework", "ostrel/interfaces/cli/cliframework/HelpFeature",
     "ostrel/interfaces/cli/cliframework/HelpResult", "ostrel/interfaces/cli/cliframework/Parser"],
    # A setting that changes is written to the file, and the file is read into the settings.
    ["CLI/cli_system/ConfigurationFile", "CLI/cli_system/SystemFeature"],
]


class Product(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        with open(os.environ["NIMBREL_TARGETS"], encoding="utf-8") as lines:
            cls.graph = IncludeGraph(ROOT, read_targets(lines))

    def test_includes_follow_dependencies(self):
        self.assertGreater(len(self.graph.includes), 500)
        faults = self.graph.missing_dependencies()
        self.assertEqual(faults, [], "\n" + "\n".join(faults))

    def test_targets_form_no_cycle(self):
        self.assertEqual(self.graph.target_cycles(), [])

    def test_units_form_no_cycle_but_the_known_ones(self):
        self.assertEqual(self.graph.unit_cycles(), sorted(KNOWN_CYCLES))


class Check(unittest.TestCase):
    """That the check finds what it is for, on a small tree."""
    TARGETS = ["target low low", "source low/Low.cpp",
               "target high high", "source high/High.cpp", "source high/High.linux.cpp", "depends low"]
    FILES = {"low/Low.h": "", "low/Low.cpp": '#include "low/Low.h"\n',
             "high/High.h": '#include <string>\n#include "low/Low.h"\n', "high/Only.h": "",
             "high/High.cpp": '#include "high/High.h"\n', "high/High.linux.cpp": '#include "high/Only.h"\n'}

    def graph(self, files=(), targets=()):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        for name, text in {**self.FILES, **dict(files)}.items():
            path = os.path.join(folder.name, name)
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "w", encoding="utf-8") as file:
                file.write(text)
        return IncludeGraph(folder.name, read_targets(list(self.TARGETS) + list(targets)))

    def test_tree_in_order_has_no_fault(self):
        graph = self.graph()
        self.assertEqual(graph.missing_dependencies(), [])
        self.assertEqual(graph.unit_cycles() + graph.target_cycles(), [])

    def test_include_against_the_arrow_is_named_with_its_line(self):
        graph = self.graph({"low/Low.cpp": '#include "low/Low.h"\n\n#include "high/Only.h"\n'})
        self.assertEqual(graph.missing_dependencies(),
                         ["low/Low.cpp:3: low includes high/Only.h, and does not depend on high"])

    def test_dependency_of_a_dependency_does_not_count(self):
        graph = self.graph({"top/Top.cpp": '#  include "low/Low.h"\n'},
                           ["target top top", "source top/Top.cpp", "depends high"])
        self.assertEqual(graph.missing_dependencies(),
                         ["top/Top.cpp:1: top includes low/Low.h, and does not depend on low"])

    def test_header_answers_for_each_target_that_compiles_its_source(self):
        graph = self.graph(targets=["target high_again high", "source high/High.cpp", "source high/High.linux.cpp"])
        self.assertEqual(graph.missing_dependencies(),
                         ["high/High.h:2: high_again includes low/Low.h, and does not depend on low"])

    def test_headers_of_a_folder_without_sources_represent_it(self):
        graph = self.graph({"top/Top.cpp": '#include "low/Low.h"\n'},
                           ["target low_headers low", "target top top", "source top/Top.cpp", "depends low_headers"])
        self.assertEqual(graph.missing_dependencies(), [])

    def test_header_that_could_belong_to_two_targets_has_to_be_named(self):
        two = ["target other high", "source high/Other.cpp"]
        graph = self.graph({"high/Other.cpp": ""}, two)
        self.assertEqual(graph.missing_dependencies(), ["high/Only.h:1: no target has this file"])
        graph = self.graph({"high/Other.cpp": ""}, two + ["source high/Only.h"])
        self.assertEqual(graph.missing_dependencies(),
                         ["high/High.linux.cpp:1: high includes high/Only.h, and does not depend on other"])

    def test_source_that_nothing_compiles_is_a_fault(self):
        graph = self.graph({"low/Forgotten.cpp": ""})
        self.assertEqual(graph.missing_dependencies(), ["low/Forgotten.cpp:1: no target has this file"])

    def test_include_that_leads_nowhere_is_a_fault(self):
        graph = self.graph({"high/Only.h": '#include "Low.h"\n'})
        self.assertEqual(graph.missing_dependencies(),
                         ["high/Only.h:1: there is no Low.h in the folders of the targets"])

    def test_units_in_a_circle_are_found_through_their_sources(self):
        graph = self.graph({"low/A.h": '#include "low/Low.h"\n', "low/Low.cpp": '#include "low/A.h"\n'})
        self.assertEqual(graph.unit_cycles(), [["low/A", "low/Low"]])

    def test_targets_in_a_circle_are_found(self):
        graph = self.graph(targets=["target top top", "depends high", "depends top2", "target top2 top2", "depends top"])
        self.assertEqual(graph.target_cycles(), [["top", "top2"]])

    def test_two_circles_with_one_way_between_them_stay_two(self):
        self.assertEqual(cycles({"a": {"b"}, "b": {"a", "c"}, "c": {"d"}, "d": {"c", "e"}}), [["a", "b"], ["c", "d"]])


if __name__ == "__main__":
    unittest.main()
