"""The configuration file after processes that died while they wrote it."""

import random
import time
import unittest

from settings import config
from world import ToolTestCase, kill_group

RUNS = 200


class KilledProcesses(ToolTestCase):
    def test_leave_the_old_settings_or_the_new_ones(self):
        self.check("set", "-system", "LogFile=/var/log/run", stdout="Set LogFile successful.\n")
        start = time.monotonic()
        self.check("set", "-system", "LogFile=/var/log/run", stdout="Set LogFile successful.\n")
        whole_run = time.monotonic() - start
        seed = random.randrange(2 ** 32)
        instants = random.Random(seed)
        log_file = "/var/log/run"
        outcomes = {"old": 0, "new": 0}
        for run in range(RUNS):
            new = f"/var/log/{'x' * (run % 100)}{run}"
            process = self.world.start("set", "-system", f"LogFile={new}")
            time.sleep(instants.uniform(0, 1.2 * whole_run))
            kill_group(process)
            text = self.world.config.read_text()
            outcome = "new" if text == config(log_file=new) else "old"
            if outcome == "old":
                self.assertEqual(text, config(log_file=log_file), f"run {run}, seed {seed}")
            else:
                log_file = new
            outcomes[outcome] += 1
        self.assertEqual(sum(outcomes.values()), RUNS)
        # Otherwise the instants missed what they were to hit.
        self.assertGreater(min(outcomes.values()), 0, f"{outcomes}, seed {seed}")
        self.check("show", "-display", "LogFile", "-system",
                   stdout=f"- Velko Nimbrel Tool Configuration File -\nLogFile: {log_file}\n\n\n")


if __name__ == "__main__":
    unittest.main()
