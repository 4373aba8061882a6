"""Makes the HTML file. Drive strings reach it in two ways: as text that Jinja escapes, and as JSON in a script element
of a type that no browser runs. A Content-Security-Policy allows our two scripts by their hashes, and nothing else."""

import base64
import hashlib
import json
import pathlib

import jinja2
import markupsafe

from . import document, view

_FOLDER = pathlib.Path(__file__).resolve().parent / "page"
# In a script element: nothing that ends it, and no line end of JavaScript.
_JSON_ESCAPES = {"<": "\\u003c", ">": "\\u003e", "&": "\\u0026", "\u2028": "\\u2028", "\u2029": "\\u2029"}
_CHART_LIBRARY = "chart.js/chart.min.js"


class Missing(Exception):
    """A part of the program is not installed."""


def script_json(value):
    text = json.dumps(value, ensure_ascii=False, separators=(",", ":"), allow_nan=False)
    return markupsafe.Markup("".join(_JSON_ESCAPES.get(character, character) for character in text))


def make(documents, previous, problems, title, now):
    """The report as bytes."""
    library, script, style = chart_library(), _own("report.js"), _own("report.css")
    environment = jinja2.Environment(loader=jinja2.FileSystemLoader(_FOLDER), autoescape=True, trim_blocks=True,
                                     lstrip_blocks=True, undefined=jinja2.StrictUndefined)
    environment.filters["script_json"] = script_json
    text = environment.get_template("report.html").render(
        view.report(documents, previous, problems, title, now),
        documents=[document.compared(each) for each in documents], library=markupsafe.Markup(library),
        script=markupsafe.Markup(script), style=markupsafe.Markup(style),
        policy=f"default-src 'none'; script-src {_hash(library)} {_hash(script)}; style-src {_hash(style)}; "
               "img-src data:; base-uri 'none'; form-action 'none'")
    return text.encode("utf-8")


def chart_library():
    """Chart.js, as Debian's libjs-chart.js has it: a copy is installed beside the modules."""
    for path in (_FOLDER.parents[1] / "chart.min.js", pathlib.Path("/usr/share/javascript") / _CHART_LIBRARY):
        if path.is_file():
            # Its last line names a file for debuggers, which a report does not have beside it.
            lines = path.read_text(encoding="utf-8").splitlines()
            return "\n".join(line for line in lines if not line.startswith("//# sourceMappingURL")) + "\n"
    raise Missing("Chart.js is not installed (Debian's package libjs-chart.js)")


def _own(name):
    return (_FOLDER / name).read_text(encoding="utf-8")


def _hash(text):
    return "'sha256-" + base64.b64encode(hashlib.sha256(text.encode("utf-8")).digest()).decode() + "'"
