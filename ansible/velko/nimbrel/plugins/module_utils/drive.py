"""Which drive a task means: the rules of nimbrel's own selection, from what `show` says."""

from ansible_collections.velko.nimbrel.plugins.module_utils.tool import WORD, ToolError, number_of, text_of, word

ARGUMENTS = {"executable": {"type": "path"}}
ONE_DRIVE = {**ARGUMENTS, "serial_number": {"type": "str", "required": True}, "path": {"type": "str"}}
SUBSYSTEM = "SUBNQN - NVM Subsystem NVMe Qualified Name"
# By names, since a list with all keys ends with drives that nimbrel does not support, SAS SSDs.
LISTED = "Index,SerialNumber,DevicePath,ModelNumber,Firmware"
CONTROLLER = "CNTLID - Controller ID"
NOT_FOUND = "Property not found"


class Drive:
    """A drive of the list.

    serial, path: identity, as the tool shows it. error: why nothing else is known of the drive, otherwise None.
    keys: the object of the list, attribute by attribute.
    """

    def __init__(self, keys):
        self.keys = keys
        self.serial = self.text("SerialNumber")
        self.path = keys["DevicePath"]
        self.error = keys.get("Status")
        self.address = self.path

    def text(self, name):
        """A key as a text; empty: the drive does not report it."""
        value = text_of(self.keys.get(name, ""))
        return "" if value == NOT_FOUND else value

    def __str__(self):
        return f"{self.serial} ({self.path})"


def list_drives(tool):
    """The drives of the host, those that could not be read included. A list that is not whole is an error: what is
    missing in it could be the drive's twin."""
    answer = tool.run("show", "-display", LISTED, "-velkossd")
    if answer.error is not None:
        raise ToolError(answer.message(), exit_status=answer.status)
    others = [keys for _name, keys in answer.objects if "DevicePath" not in keys]
    if others:
        raise ToolError(" ".join(text_of(keys.get("Status", "")) for keys in others), exit_status=answer.status)
    return [Drive(keys) for _name, keys in answer.objects]


def read_drive(tool, drive, *words, options=()):
    """Objects that a show command prints of one drive, which must be this one: a node can pass to another drive."""
    objects = tool.read(*options, "-velkossd", drive.path, *words)
    for _name, keys in objects:
        require_identity(drive, keys)
    return objects


def read_object(tool, drive, *words, options=()):
    """As read_drive, of a command that prints one object."""
    objects = read_drive(tool, drive, *words, options=options)
    if len(objects) != 1:
        raise ToolError(f"nimbrel printed {len(objects)} objects of drive {drive} in place of one")
    return objects[0][1]


def require_identity(drive, keys):
    """The object is of the drive that was selected."""
    serial = text_of(keys.get("SerialNumber", ""))
    if serial != drive.serial:
        raise ToolError(f"the serial number at {drive.path} is {serial!r} now, and not {drive.serial!r}")


def one_subsystem(tool, drives):
    """Whether all are controllers of one NVM subsystem, and so one drive: one name, and each a number of its own."""
    found = [read_drive(tool, drive, "-identify")[0][1] for drive in drives if drive.error is None]
    names = {keys.get(SUBSYSTEM, "") for keys in found}
    numbers = {keys.get(CONTROLLER) for keys in found}
    return len(numbers) == len(drives) and len(names) == 1 and "" not in names


def several(serial, drives):
    """The error of a name that does not select one."""
    paths = ", ".join(drive.path for drive in drives)
    return ToolError(f"{serial!r} fits several drives: name one by its path ({paths})")


def find_drive(tool, serial, path=None, drives=None):
    """The drive with exactly this serial number, and with the path where one is given.

    As in the tool, a serial number that fits two drives, also in another case, or that is another drive's index,
    selects none. The drive's `address` is what commands that change it are given: its serial number, which no
    renumbering of nodes can pass to another drive, or the path where that was needed to choose, or the command line
    does not take the serial number.
    """
    drives = list_drives(tool) if drives is None else drives
    fitting = [drive for drive in drives if drive.serial.casefold() == serial.casefold()]
    indexed = [drive for drive in drives
               if serial.isdigit() and drive not in fitting and number_of(drive.text("Index")) == int(serial)]
    if not fitting:
        raise ToolError(f"no drive has the serial number {serial!r}", serial_numbers=[drive.serial for drive in drives])
    chosen = [drive for drive in fitting if path is None or drive.path == path]
    if not chosen:
        raise ToolError(f"the drive with the serial number {serial!r} is not at {path}, but at "
                        f"{', '.join(drive.path for drive in fitting)}")
    if path is None and (indexed or (len(fitting) > 1 and not one_subsystem(tool, fitting))):
        raise several(serial, fitting + indexed)
    drive = next((drive for drive in chosen if drive.error is None), chosen[0])
    if drive.serial != serial:
        raise ToolError(f"the serial number is {drive.serial!r}, and not {serial!r}")
    if drive.error is not None:
        raise ToolError(drive.error, serial_number=drive.serial, path=drive.path)
    needs_path = len(fitting) > 1 or indexed or not WORD.fullmatch(drive.serial)
    drive.address = word(drive.path if path and needs_path else drive.serial)
    return drive


def change(tool, drive, verb, *words, options=(), typed=None):
    """Runs a command that changes the drive; a failure, a question that was not answered and an answer of another drive
    are errors."""
    command = [*options, "-velkossd", drive.address, *words]
    answer = tool.run(verb, *command, typed=typed)
    if answer.status != 0:
        raise ToolError(answer.message(), command=[verb, *command], exit_status=answer.status)
    if answer.result == "Cancelled":
        raise ToolError("nimbrel cancelled the command: it got no answer to its question", command=[verb, *command])
    for _name, keys in answer.objects:
        require_identity(drive, keys)
    return answer
