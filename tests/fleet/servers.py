"""Prometheus, Alertmanager and node exporters on loopback, for hosts with simulated drives.

    with Servers(folder, {"alpha": Host("alpha")}, rules) as servers:   # reads all drives every second
        servers.query("nimbrel_drive_up")
        servers.alerts()

rules: the text of a file of rules, as Prometheus gets it; quickened() makes its windows those of a test.
"""

import contextlib
import json
import os
import re
import socket
import subprocess
import threading
import time
import urllib.parse
import urllib.request

from host import Host

EXPORTER = os.environ["NIMBREL_EXPORTER"]
WINDOW_SECONDS = 15
STALE_SECONDS = 5
DEADLINE_SECONDS = 90


def quickened(rules):
    """The rules with waits and windows of seconds. What they compare stays, but for the age of the metrics."""
    text, waits = re.subn(r"\bfor: \w+", "for: 0s", rules)
    text, windows = re.subn(r"\[1d\]", f"[{WINDOW_SECONDS}s]", text)
    text, ages = re.subn(r"> 900\b", f"> {STALE_SECONDS}", text)
    if not waits or not windows or not ages:
        raise ValueError("these are not the rules that the test knows")
    return text


def free_port():
    with socket.socket() as listener:
        listener.bind(("127.0.0.1", 0))
        return listener.getsockname()[1]


def get(port, path, **query):
    """The JSON of a server's API. Loopback goes through no proxy."""
    opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
    with opener.open(f"http://127.0.0.1:{port}{path}?{urllib.parse.urlencode(query)}", timeout=20) as answer:
        return json.loads(answer.read() or b"null")


def await_that(condition, what):
    """Asks again until the condition holds; returns what it returned."""
    deadline = time.monotonic() + DEADLINE_SECONDS
    while True:
        with contextlib.suppress(OSError):  # a server that has only begun
            found = condition()
            if found:
                return found
        if time.monotonic() > deadline:
            raise AssertionError(f"not within {DEADLINE_SECONDS} s: {what}")
        time.sleep(0.3)


class Servers:
    def __init__(self, folder, hosts, rules):
        self.folder = folder
        self.hosts = hosts
        self.paused = set()
        self._stop = threading.Event()
        self._stack = contextlib.ExitStack()
        self.ports = {name: free_port() for name in ("prometheus", "alertmanager", *hosts)}
        (folder / "rules.yml").write_text(rules)
        (folder / "prometheus.yml").write_text(json.dumps({
            "global": {"scrape_interval": "1s", "scrape_timeout": "1s", "evaluation_interval": "1s"},
            "rule_files": ["rules.yml"],
            "alerting": {"alertmanagers": [{"static_configs": [{"targets": [self._address("alertmanager")]}]}]},
            "scrape_configs": [{"job_name": "node", "static_configs": [
                {"targets": [self._address(name)], "labels": {"instance": name}} for name in hosts]}]}))
        (folder / "alertmanager.yml").write_text(json.dumps({
            "route": {"receiver": "none", "group_wait": "0s", "group_interval": "1s"}, "receivers": [{"name": "none"}]}))

    def __enter__(self):
        try:
            self._begin()
        except BaseException:
            self._stack.close()
            raise
        return self

    def __exit__(self, *_error):
        self._stack.close()

    def _address(self, name):
        return f"127.0.0.1:{self.ports[name]}"

    def textfiles(self, name):
        """The folder that the host's node exporter reads."""
        return self.folder / name

    def _start(self, *command):
        with open(self.folder / "servers.log", "ab") as log:
            process = subprocess.Popen([str(word) for word in command], stdin=subprocess.DEVNULL, stdout=log,
                                       stderr=subprocess.STDOUT, cwd=self.folder)
        self._stack.callback(process.wait)
        self._stack.callback(process.terminate)

    def _begin(self):
        for name in self.hosts:
            self.textfiles(name).mkdir()
            self._start("prometheus-node-exporter", f"--web.listen-address={self._address(name)}",
                        "--collector.disable-defaults", "--collector.textfile",
                        f"--collector.textfile.directory={self.textfiles(name)}")
        self._start("prometheus-alertmanager", "--config.file=alertmanager.yml", "--storage.path=alertmanager",
                    f"--web.listen-address={self._address('alertmanager')}", "--cluster.listen-address=")
        self._start("prometheus", "--config.file=prometheus.yml", "--storage.tsdb.path=prometheus",
                    f"--web.listen-address={self._address('prometheus')}", "--rules.alert.resend-delay=1s")
        reader = threading.Thread(target=self._read_drives)
        reader.start()
        self._stack.callback(reader.join)
        self._stack.callback(self._stop.set)
        drives = sum(len(list(host.drives.iterdir())) for host in self.hosts.values())
        await_that(lambda: len(self.query("nimbrel_drive_up")) == drives, "all drives are in Prometheus")

    def _read_drives(self):
        """What the exporter's timer does on each host."""
        while not self._stop.wait(1):
            for name, host in self.hosts.items():
                if name not in self.paused:
                    host.run(EXPORTER, "--no-snapshots", "--output", str(self.textfiles(name) / "nimbrel.prom"))

    def query(self, expression):
        """Labels and value of each series of an instant query."""
        answer = get(self.ports["prometheus"], "/api/v1/query", query=expression)
        return [(row["metric"], float(row["value"][1])) for row in answer["data"]["result"]]

    def alerts(self):
        """The alerts that Alertmanager has, as it gives them."""
        return get(self.ports["alertmanager"], "/api/v2/alerts", active="true")


def make_hosts(case, names):
    """Hosts that the test case closes at its end."""
    hosts = {name: Host(name) for name in names}
    for host in hosts.values():
        case.addClassCleanup(host.close)
    return hosts
