"""The dashboards for Grafana: each expression returns data in Prometheus. Grafana itself is not run."""

import json
import pathlib
import re
import shutil
import tempfile
import unittest

from servers import Servers, await_that, make_hosts, quickened

PACKAGING = pathlib.Path(__file__).resolve().parents[2] / "packaging"
BOARDS = ("fleet", "drive")
# Of a real drive: what simulated drives have not, on the host alpha.
RECORDED = """\
nimbrel_drive_pcie_link_width_lanes{device="/dev/nvme0",serial="alpha-1"} 4
nimbrel_drive_pcie_link_width_max_lanes{device="/dev/nvme0",serial="alpha-1"} 4
nimbrel_drive_pcie_link_speed_transfers_per_second{device="/dev/nvme0",serial="alpha-1"} 8e+09
nimbrel_drive_pcie_link_speed_max_transfers_per_second{device="/dev/nvme0",serial="alpha-1"} 8e+09
"""
# What a drive of one kind alone reports: start of the metric, model of the simulated drive.
SPECIAL = (("nimbrel_drive_ocp_", "alpha-2"), ("nimbrel_drive_sata_", "alpha-3"))


def board(name):
    return json.loads((PACKAGING / f"grafana/nimbrel-{name}.json").read_text())


def expressions(name):
    """Title of the panel and expression of each target."""
    return [(panel["title"], target["expr"]) for panel in board(name)["panels"] for target in panel.get("targets", [])]


class Boards(unittest.TestCase):
    def test_their_form(self):
        for name in BOARDS:
            with self.subTest(name):
                found = board(name)
                self.assertEqual(found["uid"], f"nimbrel-{name}")
                numbers = [panel["id"] for panel in found["panels"]]
                self.assertEqual(len(set(numbers)), len(numbers))
                cells = set()
                for panel in found["panels"]:
                    place = panel["gridPos"]
                    taken = {(x, y) for x in range(place["x"], place["x"] + place["w"])
                             for y in range(place["y"], place["y"] + place["h"])}
                    self.assertEqual(cells & taken, set(), panel["title"])
                    self.assertLessEqual(place["x"] + place["w"], 24)
                    cells |= taken
                    if panel["type"] != "row":
                        self.assertEqual(panel["datasource"]["uid"], "${datasource}")
                        self.assertTrue(panel["description"].endswith("."), panel["title"])
                variables = {variable["name"] for variable in found["templating"]["list"]}
                used = set(re.findall(r"\$\{?(\w+)", json.dumps(found["panels"])))
                self.assertEqual({name for name in used if not name.startswith("__")} - variables, set())

    def test_each_metric_is_one_of_the_exporter(self):
        documented = set(re.findall(r"`(nimbrel_\w+)`", (PACKAGING.parent / "docs/exporter.md").read_text()))
        for name in BOARDS:
            text = " ".join(expression for _title, expression in expressions(name))
            self.assertEqual(set(re.findall(r"\b(nimbrel_\w+)", text)) - documented, set())


class Data(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = pathlib.Path(tempfile.mkdtemp(prefix="nimbrel-dashboards-"))
        cls.addClassCleanup(shutil.rmtree, folder)
        hosts = make_hosts(cls, ("alpha", "beta"))
        for number, model in enumerate(("velko", "ocp", "sata"), 1):
            hosts["alpha"].make_drive(f"alpha-{number}", model=model, **hosts["alpha"].QUICK)
        hosts["beta"].make_drive("beta-1")
        for serial in ("alpha-1", "alpha-2", "alpha-3"):
            hosts["alpha"].run("/opt/velko/nimbrel/nimbrel", "start", "-velkossd", serial, "-selftest", "short")
        rules = (PACKAGING / "prometheus/nimbrel.rules.yml").read_text()
        cls.servers = Servers(folder, hosts, quickened(rules))
        cls.addClassCleanup(cls.servers.__exit__)
        cls.servers.__enter__()
        (cls.servers.textfiles("alpha") / "recorded.prom").write_text(RECORDED)

    def test_each_expression_returns_data(self):
        for name in BOARDS:
            for title, expression in expressions(name):
                serial = next((serial for start, serial in SPECIAL if start in expression), "alpha-1")
                for variable, value in (("$instance", ".*" if name == "fleet" else "alpha"), ("$serial", serial),
                                        ("$__rate_interval", "5s")):
                    expression = expression.replace(variable, value)
                with self.subTest(board=name, panel=title, expression=expression):
                    await_that(lambda: self.servers.query(expression), "data")

    def test_the_variables_have_values(self):
        for name in BOARDS:
            for variable in board(name)["templating"]["list"]:
                if variable["type"] != "query":
                    continue
                series, label = re.fullmatch(r"label_values\((.*), (\w+)\)", variable["query"]["query"]).groups()
                found = {labels[label] for labels, _value in self.servers.query(series.replace("$instance", "alpha"))}
                expected = {"alpha", "beta"} if label == "instance" else {"alpha-1", "alpha-2", "alpha-3"}
                self.assertEqual(found, expected)
