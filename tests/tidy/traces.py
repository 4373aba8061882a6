"""Each function of the framework and the core begins with the trace of its scope: the debug log shows what runs.

Accessors do not count: what a header or a line of a class has, and what the compiler computes."""

import unittest

from cpp_source import cpp_functions
from lengths import listed

# The macro that begins a function, by folder.
TRACES = {
    "ostrel/core/": "OSTREL_TRACE()",
    "ostrel/connections/": "OSTREL_TRACE()",
    "ostrel/interfaces/ostreli/": "OSTREL_TRACE()",
    "ostrel/interfaces/cli/cliframework/": "CLI_TRACE()",
}

EACH_BYTE = "runs for each byte of a text or buffer"
EACH_LINE = "writes the line of a trace"
OF_CALLER = "begins with the trace of its caller"
SIGNALS = "runs in the handler or the thread of signals, whose lines would come between those of the command"
ERROR_OF_CALL = "reads the error of the call before it, which writing the log would replace"

# File, functions (none: all of the file), reason. A row that no longer applies fails.
WITHOUT = (
    ("ostrel/core/LogCore.boost.cpp", (), EACH_LINE),
    ("ostrel/core/LogCore.plain.cpp", (), EACH_LINE),
    ("ostrel/core/Logging.cpp", (), EACH_LINE),
    ("ostrel/core/Logging.streams.cpp", (), EACH_LINE),
    ("ostrel/core/LogFile.cpp", (), EACH_LINE),
    ("ostrel/core/ScopeTrace.cpp", (), EACH_LINE),
    ("ostrel/core/FileDescriptor.linux.cpp", ("writeFully",), EACH_LINE),
    ("ostrel/interfaces/cli/cliframework/Logger.cpp", (), EACH_LINE),
    ("ostrel/interfaces/cli/cliframework/StreamChannel.cpp", (), EACH_LINE),
    ("ostrel/interfaces/cli/cliframework/Trace.cpp", (), EACH_LINE),
    ("ostrel/core/SignalWatch.linux.cpp", ("endSignal", "endProcess", "nameOf", "SignalWatch::run", "SignalWatch::wait"),
     SIGNALS),
    ("ostrel/core/ReplacementFile.linux.cpp", ("resultOf",), ERROR_OF_CALL),
    ("ostrel/connections/linux/connection_dll_linux/Connection_DLL_Linux.cpp", ("dlErrorText",), ERROR_OF_CALL),
    ("ostrel/core/StatusCatalogue.cpp", ("makeTraced",), OF_CALLER),
    ("ostrel/core/Payload.cpp", ("Payload::getData", "Payload::getSize", "Payload::at"), EACH_BYTE),
    ("ostrel/core/Strings.cpp", ("nibble", "isDecimalDigit", "lowerCased", "upperCased", "appendHex"), EACH_BYTE),
    ("ostrel/core/xml/XmlEscape.cpp", ("growthOf", "replacementOf"), EACH_BYTE),
    ("ostrel/core/xml/XmlNesting.cpp", ("is", "skip", "skipTo", "skipUntil", "skipBlanks"), EACH_BYTE),
    ("ostrel/interfaces/cli/cliframework/StringHelpers.cpp", ("isDigit", "isHexDigit", "foldByte"), EACH_BYTE),
)


def counts(function):
    return function.lines > 0 and not function.head.startswith("constexpr ")


def untraced(source, trace):
    return [function for function in cpp_functions(source) if counts(function) and not function.body.startswith(trace)]


def sources():
    """(name, text, macro)"""
    for folder, trace in TRACES.items():
        for name, source in listed(folder + "*.cpp"):
            yield name, source, trace


class Traces(unittest.TestCase):
    def test_begin_each_function(self):
        without = {file: names for file, names, _ in WITHOUT}
        faults = [f"{name}:{function.line}: {function.name} does not begin with {trace}"
                  for name, source, trace in sources() for function in untraced(source, trace)
                  if name not in without or without[name] and function.name not in without[name]]
        self.assertEqual(faults, [], "\n" + "\n".join(faults))

    def test_every_exception_applies(self):
        found = {name: {function.name for function in untraced(source, trace)} for name, source, trace in sources()}
        for name, functions, reason in WITHOUT:
            with self.subTest(name, reason=reason):
                self.assertTrue(found.get(name))
                self.assertEqual(set(functions) - found[name], set())

    def test_are_missed_where_they_are_not_first(self):
        self.assertEqual([function.name for function in untraced("""
            namespace { template <class T> T a(T b) {
                return b;
            } }
            C::C() : d_{1} {
                OSTREL_TRACE();
            }
            C::~C() {
                close();
                OSTREL_TRACE();
            }
            bool C::operator==(const C& other) const {
                // OSTREL_TRACE();
                return true;
            }
            constexpr int e() {
                return 1;
            }
            class F {
                int g() const { return 1; }
            };
            """, "OSTREL_TRACE()")], ["a", "C::~C", "operator=="])


if __name__ == "__main__":
    unittest.main()
