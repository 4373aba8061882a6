"""The recording library in a world: what the tool calls and sends, and what it is answered.

    case.answer(text)                     # to every request; answer(text, 2): to the second one of a process
    case.instruct(version=30000399)       # see tests/support/recordinglibrary
    case.calls(), case.requests()         # since the last forget(): all calls, and the XML of the requests alone
"""

import os
import re

from world import ToolTestCase

RECORDING_LIBRARY = os.environ.get("NIMBREL_RECORDING_LIBRARY", "")

_SENT = re.compile(r'SendXMLMessage\("(.*)", (\d+), null\)')


class RecordingTestCase(ToolTestCase):
    """A test whose world holds the recording library where an installed one is."""

    def setUp(self):
        super().setUp()
        self.library = self.world.install_library(RECORDING_LIBRARY)

    def calls(self):
        """Each call as the library wrote it, unprintable characters and quotation marks as \\xNN."""
        path = self._beside(".calls")
        return path.read_text(encoding="ascii").splitlines() if path.exists() else []

    def requests(self):
        """The XML texts of the requests."""
        return [_unquoted(*_SENT.fullmatch(call).groups()) for call in self.calls() if call.startswith("Send")]

    def forget(self):
        """From here on the recording is empty."""
        self._beside(".calls").unlink(missing_ok=True)

    def answer(self, text, number=None):
        """What the library answers to request `number` of each process, or to all that have no answer of their own."""
        self._beside(f".answer{number or ''}").write_bytes(text if isinstance(text, bytes) else text.encode())

    def instruct(self, **instructions):
        text = "".join(f"{key} {value}\n" for key, value in instructions.items())
        self._beside(".instructions").write_text(text, encoding="ascii")

    def _beside(self, suffix):
        return self.library.with_name(self.library.name + suffix)


def _unquoted(text, length):
    data = re.sub(rb"\\x(..)", lambda match: bytes.fromhex(match[1].decode()), text.encode("ascii"))
    if len(data) != int(length):
        raise AssertionError(f"{length} bytes were announced, {len(data)} sent: {text}")
    return data.decode("utf-8", "surrogateescape")
