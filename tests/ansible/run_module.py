"""run_module.py NAME PARAMETERS [check]: runs a module of the collection without Ansible, and prints its result.

What Ansible itself would do is done here in short: the package of the collection, the class that a module is made of,
and defaults of parameters. The real engine runs the same modules in tests/fleet.
"""

import importlib
import json
import pathlib
import shutil
import sys
import tempfile
import types

COLLECTION = pathlib.Path(__file__).resolve().parents[2] / "ansible" / "velko" / "nimbrel"


class Finished(Exception):
    """A module ends by its result."""


class AnsibleModule:
    """As much of Ansible's class as the modules use."""

    params = {}
    check_mode = False

    def __init__(self, argument_spec, supports_check_mode, **_rules):
        unknown = set(self.params) - set(argument_spec)
        if unknown or not supports_check_mode:
            raise ValueError(f"no parameters of the module: {unknown}")
        AnsibleModule.params = {name: self.params.get(name, row.get("default")) for name, row in argument_spec.items()}

    @staticmethod
    def get_bin_path(name, required, folders):
        path = shutil.which(name, path=":".join(folders))
        if path is None and required:
            raise Finished({"failed": True, "msg": f"no {name}"})
        return path

    @staticmethod
    def exit_json(**result):
        raise Finished({"failed": False, **result})

    @staticmethod
    def fail_json(msg, **facts):
        raise Finished({"failed": True, "msg": msg, **facts})


def add_packages(folder):
    """`ansible_collections` leads to the sources, `ansible.module_utils.basic` to the class above."""
    package = pathlib.Path(folder) / "ansible_collections" / "velko"
    package.mkdir(parents=True)
    (package / "nimbrel").symlink_to(COLLECTION)
    sys.path.insert(0, folder)
    for name in ("ansible", "ansible.module_utils", "ansible.module_utils.basic"):
        sys.modules[name] = types.ModuleType(name)
    sys.modules["ansible.module_utils.basic"].AnsibleModule = AnsibleModule


def main():
    AnsibleModule.params = json.loads(sys.argv[2])
    AnsibleModule.check_mode = sys.argv[3:] == ["check"]
    with tempfile.TemporaryDirectory() as folder:
        add_packages(folder)
        module = importlib.import_module(f"ansible_collections.velko.nimbrel.plugins.modules.{sys.argv[1]}")
        try:
            module.main()
        except Finished as result:
            print(json.dumps(result.args[0]))


if __name__ == "__main__":
    main()
