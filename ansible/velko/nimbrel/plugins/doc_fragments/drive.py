"""Options that several modules have."""


class ModuleDocFragment:
    """The tool, and the drive that a task is for."""

    DOCUMENTATION = r"""
options:
  executable:
    description:
      - Path of C(nimbrel) on the host. Without it the one in the path is used, or that in C(/opt/velko/nimbrel).
    type: path
requirements:
  - C(nimbrel) on the host, run as root (C(become))
  - Python 3.9 or later on the host
author:
  - Velko (@velko)
"""

    ONE_DRIVE = r"""
options:
  serial_number:
    description:
      - Serial number of the drive, letter by letter as C(nimbrel show -velkossd) shows it. It is compared on the host
        before anything is done, and again with what the tool answers.
      - A serial number that fits two drives, also in another case, or that is the index of another drive, is refused,
        as the tool itself refuses it.
    type: str
    required: true
  path:
    description:
      - Path of the drive (C(DevicePath) of the list), to choose between drives with the same serial number. The drive
        at this path must have I(serial_number), too.
    type: str
"""
