"""What the host uses a drive for, as `show` says it: the checks of nimbrel's gate that can be made before."""

import re

from ansible_collections.velko.nimbrel.plugins.module_utils.drive import read_drive

# "/dev/nvme0n1p1 partition": nothing uses the partition. A place where something is mounted may end in the word, too,
# but no such text begins with a node that is followed by the word at once.
UNUSED_PARTITION = re.compile(r"/\S+ partition")

# What the gate looks at and `show` does not: said wherever a prediction is made.
NOT_PREDICTED = [
    "a file system or other known content on a namespace without partitions",
    "a device that another program opened exclusively, and uses that cannot be determined",
    "another process that changes the drive at that moment",
    "a command that the drive refuses",
]


class Uses:
    """in_use: sentences, one for each disk, namespace or partition that is in use. No force helps.
    content: names of partitions that nothing uses; reasons for a refusal without force."""

    def __init__(self):
        self.in_use = []
        self.content = []


def read_uses(tool, drive):
    """Of all namespaces of the drive, whichever a command reaches."""
    uses = Uses()
    for name, keys in read_drive(tool, drive, "-partition"):
        places = [str(value) for key, value in keys.items()
                  if key.split(" ")[0] == "MountPoint" and value != "not mounted"]
        if keys.get("Use", "none") != "none":
            places.append(str(keys["Use"]))
        if places:
            uses.in_use.append(f"{name}: {', '.join(places)}")
        elif "Size" in keys:
            uses.content.append(name)
    return uses


def namespace_in_use(tool, drive, nsid):
    """What uses one namespace that is attached; None: nothing, or only partitions that nothing uses."""
    for _name, keys in read_drive(tool, drive, options=["-a"]):
        if keys.get("NamespaceId") == nsid and "Use" in keys:
            used = [use for use in str(keys["Use"]).split("; ")
                    if use != "none" and not UNUSED_PARTITION.fullmatch(use)]
            return "; ".join(used) or None
    return None
