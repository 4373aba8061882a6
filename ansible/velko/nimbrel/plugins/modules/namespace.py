#!/usr/bin/python
"""Makes and deletes namespaces of an NVMe drive."""

DOCUMENTATION = r"""
module: namespace
short_description: Make or delete a namespace of an NVMe drive
description:
  - Makes a namespace and attaches it to the controller, or deletes it.
  - A namespace that is there with another size or format is a failure - it is never resized. Deleting it is a task of
    its own, with I(state=absent).
  - Before a deletion and in check mode the host's use of the namespace is looked at; one that is in use is refused. The
    tool looks again.
notes:
  - The drive chooses the NSID of a new namespace, in practice the lowest that is free. The task refuses an I(nsid)
    that is not the lowest, and fails where the drive chose another one, which it then names.
  - A namespace that is allocated and not attached does not show its size. It is attached first, and detached again
    where it is not as wanted.
  - Check mode cannot predict the size that the drive makes of an amount, that it has too little space, nor what the
    result's I(not_predicted) says of uses.
options:
  state:
    description:
      - C(present), the namespace is there and attached; C(absent), it is not allocated.
    type: str
    choices: [present, absent]
    default: present
  nsid:
    description:
      - Namespace identifier.
    type: int
    required: true
  size:
    description:
      - Size of a new namespace, as C(nimbrel create) takes it - C(2097152) blocks, C(100GB), C(100GiB), or C(50%) of
        the capacity that is not allocated. Required with I(state=present).
      - A namespace that is there is compared with a number of blocks exactly. One of an amount in bytes may be
        smaller by less than 1 GiB and less than an eighth, since drives give out their capacity in pieces. With C(%)
        it is not compared.
    type: str
  lba_format:
    description:
      - Index of the LBA format. A namespace that is there is compared with it.
    type: int
  shared:
    description:
      - Whether a new namespace may be attached to several controllers. It is not compared.
    type: bool
    default: false
extends_documentation_fragment:
  - velko.nimbrel.drive
  - velko.nimbrel.drive.one_drive
"""

EXAMPLES = r"""
- name: Delete the namespace of a new drive
  velko.nimbrel.namespace:
    serial_number: S1
    nsid: 1
    state: absent

- name: Make one of blocks of 4096 bytes that leaves a tenth of the drive free
  velko.nimbrel.namespace:
    serial_number: S1
    nsid: 1
    size: 90%
    lba_format: 2
"""

RETURN = r"""
serial_number:
  description: Serial number of the drive.
  returned: success
  type: str
path:
  description: Node of the drive.
  returned: success
  type: str
before:
  description: The namespace before the task.
  returned: success
  type: dict
  sample: {allocated: false, attached: false}
after:
  description: The namespace after the task; in check mode what is wanted.
  returned: success
  type: dict
  sample: {allocated: true, attached: true, node: /dev/nvme0n1, size_bytes: 1073741824, lba_format: 0, use: none}
message:
  description: What the tool said, command by command.
  returned: success
  type: list
  elements: str
not_predicted:
  description: What check mode could not look at.
  returned: in check mode
  type: list
  elements: str
"""

import re

from ansible_collections.velko.nimbrel.plugins.module_utils.drive import (
    ONE_DRIVE,
    change,
    find_drive,
    read_drive,
    read_object,
)
from ansible_collections.velko.nimbrel.plugins.module_utils.task import run_task
from ansible_collections.velko.nimbrel.plugins.module_utils.tool import ToolError, number_of
from ansible_collections.velko.nimbrel.plugins.module_utils.use import NOT_PREDICTED, namespace_in_use

MAX_NSID = 0xFFFFFFFE  # FFFFFFFFh are all namespaces
AMOUNT = re.compile(r"([0-9]+)(GB|GiB|%)?", re.IGNORECASE)
UNITS = {"gb": 10**9, "gib": 2**30}


def read_nsids(tool, drive, which):
    """The identifiers of the namespaces that are allocated or attached."""
    return set(read_object(tool, drive, "-identify", "-namespace", which)["Namespaces"].values())


def read_namespace(tool, drive, nsid):
    """The namespace as it is. Size and format are known only of one that is attached."""
    state = {"allocated": nsid in read_nsids(tool, drive, "allocated"),
             "attached": nsid in read_nsids(tool, drive, "attached")}
    if state["attached"]:
        for _name, keys in read_drive(tool, drive, options=["-a"]):
            if keys.get("NamespaceId") == nsid and "Use" in keys:
                state.update(node=keys["Node"], size_bytes=number_of(keys["Size"]), lba_format=keys.get("LBAFormat"),
                             use=keys["Use"], block_bytes=number_of(keys.get("SectorSize", "")))
    return state


def parse_size(text):
    """Number and unit in small letters; empty: blocks."""
    match = AMOUNT.fullmatch(text)
    if not match or int(match.group(1)) == 0:
        raise ToolError("size must be a number of blocks, an amount like 100GB or 100GiB, or a part like 50%, "
                        f"not {text!r}")
    return int(match.group(1)), (match.group(2) or "").lower()


def difference(state, params):
    """What a namespace that is attached has otherwise than wanted; empty: nothing."""
    number, unit = parse_size(params["size"])
    found = []
    if params["lba_format"] is not None and state["lba_format"] != params["lba_format"]:
        found.append(f"LBA format {state['lba_format']} and not {params['lba_format']}")
    if unit == "" and state["block_bytes"] and number * state["block_bytes"] != state["size_bytes"]:
        found.append(f"{state['size_bytes'] // state['block_bytes']} blocks and not {number}")
    if unit in UNITS:
        amount = number * UNITS[unit]
        if not 0 <= amount - state["size_bytes"] < min(UNITS["gib"], amount // 8):
            found.append(f"{state['size_bytes']} bytes and not {params['size']}")
    return ", ".join(found)


def require_as_wanted(drive, state, params):
    """A namespace of another size or format is never changed."""
    found = difference(state, params)
    if found:
        raise ToolError(f"namespace {params['nsid']} of drive {drive} has {found}: it is not changed", before=state)


def create(tool, drive, params):
    """Makes the namespace, and looks which identifier the drive gave it."""
    before = read_nsids(tool, drive, "allocated")
    properties = [f"Size={params['size']}"]
    if params["lba_format"] is not None:
        properties.append(f"LBAFormat={params['lba_format']}")
    if params["shared"]:
        properties.append("MultiPathIoCapabilities=1")
    message = change(tool, drive, "create", "-namespace", *properties).message()
    made = read_nsids(tool, drive, "allocated") - before
    if made != {params["nsid"]}:
        raise ToolError(f"drive {drive} made namespace {', '.join(map(str, sorted(made))) or 'none'} and not "
                        f"{params['nsid']}; it is not attached", changed=True)
    return message


def attach(tool, drive, params):
    """Attaches a namespace; one that was there before and is not as wanted is detached again."""
    nsid = str(params["nsid"])
    message = change(tool, drive, "attach", "-namespace", nsid).message()
    state = read_namespace(tool, drive, params["nsid"])
    if not state["attached"] or "size_bytes" not in state:
        raise ToolError(f"namespace {nsid} of drive {drive} is not attached after its attachment", changed=True)
    if difference(state, params):
        change(tool, drive, "detach", "-namespace", nsid)
    require_as_wanted(drive, state, params)
    return message


def require_lowest(drive, nsids, nsid):
    """The drive chooses: a wanted NSID that it will not choose is refused before anything is made."""
    lowest = next(number for number in range(1, len(nsids) + 2) if number not in nsids)
    if nsid != lowest:
        raise ToolError(f"drive {drive} would give a new namespace the identifier {lowest} and not {nsid}")


def make_present(module, tool, drive, before):
    """The messages of what was done; in check mode of what would be."""
    params, done = module.params, []
    if before["attached"]:
        require_as_wanted(drive, before, params)
        return done
    if not before["allocated"]:
        require_lowest(drive, read_nsids(tool, drive, "allocated"), params["nsid"])
        done.append("would create" if module.check_mode else create(tool, drive, params))
    try:
        done.append("would attach" if module.check_mode else attach(tool, drive, params))
    except ToolError as error:
        error.facts.setdefault("changed", bool(done))  # a namespace that was made stays
        raise
    return done


def make_absent(module, tool, drive, before):
    """As make_present."""
    nsid = module.params["nsid"]
    if not before["allocated"]:
        return []
    use = namespace_in_use(tool, drive, nsid)
    if use:
        raise ToolError(f"namespace {nsid} of drive {drive} is in use: {use}", before=before)
    if module.check_mode:
        return ["would delete"]
    return [change(tool, drive, "delete", "-namespace", str(nsid), options=["-force"]).message()]


def manage(module, tool):
    """The module's result."""
    params, present = module.params, module.params["state"] == "present"
    if not 0 < params["nsid"] <= MAX_NSID:
        raise ToolError(f"nsid must be 1 to {MAX_NSID}, not {params['nsid']}")
    if present:
        parse_size(params["size"])
    drive = find_drive(tool, params["serial_number"], params["path"])
    before = read_namespace(tool, drive, params["nsid"])
    done = (make_present if present else make_absent)(module, tool, drive, before)
    if module.check_mode:
        after = {**before, "allocated": present, "attached": present} if done else before
    else:
        after = read_namespace(tool, drive, params["nsid"])
        if after["allocated"] != present or after["attached"] != present:
            raise ToolError(f"namespace {params['nsid']} of drive {drive} is not as it was made: {after}")
    result = {"changed": bool(done), "serial_number": drive.serial, "path": drive.path, "before": before,
              "after": after, "message": done, "diff": {"before": before, "after": after}}
    if module.check_mode:
        result["not_predicted"] = ["the size that the drive gives"] + NOT_PREDICTED
    return result


def main():
    """The module."""
    run_task(manage, argument_spec={
        **ONE_DRIVE,
        "state": {"type": "str", "choices": ["present", "absent"], "default": "present"},
        "nsid": {"type": "int", "required": True},
        "size": {"type": "str"},
        "lba_format": {"type": "int"},
        "shared": {"type": "bool", "default": False},
    }, required_if=[("state", "present", ["size"])])


if __name__ == "__main__":
    main()
