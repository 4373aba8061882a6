"""A fleet of 100 hosts of 24 drives in one Prometheus, and what that costs: docs/fleet.md has the figures.

The hosts are simulated by what nimbrel-exporter says of one host with 24 simulated drives, with the serial numbers of
each host: to Prometheus they are 100 hosts.
NIMBREL_FLEET_FIGURES=1 prints what was measured."""

import http.server
import json
import os
import pathlib
import re
import resource
import shutil
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import urllib.parse
import urllib.request

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "conformance"))

from settings import config  # noqa: E402
from simulated import SimulatedTestCase  # noqa: E402

EXPORTER = os.environ["NIMBREL_EXPORTER"]
HOSTS = 100
DRIVES = (("ocp", 12), ("velko", 8), ("sata", 4))
INTERVAL_SECONDS = 15  # of scrapes: more often than a fleet's, so that the test is short


def free_port():
    with http.server.HTTPServer(("127.0.0.1", 0), http.server.BaseHTTPRequestHandler) as server:
        return server.server_address[1]


class Fleet(http.server.ThreadingHTTPServer):
    """/HOST/metrics is the exposition with HOST in each serial number."""

    daemon_threads = True

    def __init__(self, text):
        self.text = text
        super().__init__(("127.0.0.1", 0), FleetHandler)


class FleetHandler(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        body = self.server.text.replace('serial="', f'serial="{self.path.split("/")[1]}-').encode()
        self.send_response(200)
        self.send_header("Content-Type", "text/plain; version=0.0.4")
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, *_):
        pass


class Scale(SimulatedTestCase):
    def run_host(self):
        """The exposition of a host, and the processor seconds of the run."""
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        run = self.world.run("--output", "-", "--no-snapshots", tool=EXPORTER)
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        self.assertEqual((run.status, run.stderr), (0, ""))
        return run.stdout, after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime

    def commands(self, name):
        """How many commands a run sends to a drive: by the debug log of the tool, whose requests are the same."""
        self.world.config.write_text(config(enable_log="true"))
        drive = f"/opt/velko/nimbrel/SimulatedDrives/{name}/dev/{name}"
        count = 0
        targets = (["-selftest"], ["-nvmelog", "0x81"]) if not name.startswith("sata") else (
            ["-selftest"], ["-sensor"], ["-performance"], ["-backgroundprocessing"])
        for options, target in ((["-a"], []), ([], ["-smart"]), *(([], target) for target in targets)):
            self.assertEqual(self.tool("show", *options, "-velkossd", drive, *target).status, 0, target)
            text = (self.world.var_log / "VelkoSSDOSTREL.log").read_text()
            count += len([line for line in text.splitlines() if drive.rsplit("/dev", 1)[0] + ": " in line])
        return count

    def await_that(self, condition, what):
        deadline = time.monotonic() + 240
        while not condition():
            self.assertLess(time.monotonic(), deadline, what)
            time.sleep(1)

    def start_prometheus(self, fleet):
        folder = pathlib.Path(tempfile.mkdtemp(prefix="nimbrel-scale-"))
        self.addCleanup(shutil.rmtree, folder)
        targets = [{"targets": [f"127.0.0.1:{fleet.server_address[1]}"],
                    "labels": {"__metrics_path__": f"/host{number}/metrics", "instance": f"host{number}"}}
                   for number in range(HOSTS)]
        (folder / "targets.json").write_text(json.dumps(targets))
        (folder / "prometheus.yml").write_text(
            f"global: {{scrape_interval: {INTERVAL_SECONDS}s}}\nscrape_configs:\n- job_name: node\n"
            f"  file_sd_configs: [{{files: [{folder}/targets.json]}}]\n")
        port = free_port()
        process = subprocess.Popen(
            ["prometheus", f"--config.file={folder}/prometheus.yml", f"--storage.tsdb.path={folder}/data",
             f"--web.listen-address=127.0.0.1:{port}"], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL)
        self.addCleanup(process.wait)
        self.addCleanup(process.terminate)
        return process, port

    def query(self, port, expression):
        url = f"http://127.0.0.1:{port}/api/v1/query?" + urllib.parse.urlencode({"query": expression})
        try:
            with urllib.request.urlopen(url, timeout=30) as answer:
                result = json.load(answer)["data"]["result"]
        except OSError:
            return 0.0  # it starts
        return float(result[0]["value"][1]) if result else 0.0

    def test_a_hundred_hosts_fit_into_one_prometheus(self):
        for model, count in DRIVES:
            for number in range(count):
                self.make_drive(f"{model}-{number}", serial_number=f"{model}{number}")
        text, seconds = self.run_host()
        series = len(re.findall(r"^nimbrel_", text, re.M))
        fleet = Fleet(text)
        threading.Thread(target=fleet.serve_forever, daemon=True).start()
        self.addCleanup(fleet.server_close)
        self.addCleanup(fleet.shutdown)
        process, port = self.start_prometheus(fleet)
        self.await_that(lambda: self.query(port, "count(nimbrel_drive_up == 1)") == 24 * HOSTS, "not all drives arrive")
        self.await_that(lambda: self.query(port, "min(count_over_time(up[10m]))") >= 4, "not four scrapes of each host")
        status = dict(line.split(":\t") for line in pathlib.Path(f"/proc/{process.pid}/status").read_text().splitlines()
                      if ":\t" in line)
        memory = int(status["VmRSS"].split()[0]) / 1024
        scrape = self.query(port, "quantile(0.99, scrape_duration_seconds)")
        self.assertEqual(self.query(port, 'count({__name__=~"nimbrel_.*"})'), series * HOSTS)
        self.assertLess(memory, 4096)
        self.assertLess(scrape, INTERVAL_SECONDS / 2)
        if os.environ.get("NIMBREL_FLEET_FIGURES"):
            print(f"host: {seconds:.2f} processor seconds a run, {len(text)} bytes, {series} series; commands: " +
                  ", ".join(f"{model} {self.commands(model + '-0')}" for model, _ in DRIVES) +
                  f"; server: {series * HOSTS} series, scrape {scrape:.3f} s (99 %), {memory:.0f} MiB")


if __name__ == "__main__":
    unittest.main()
