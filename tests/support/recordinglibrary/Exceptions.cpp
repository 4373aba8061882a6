#include <stdexcept>

extern "C" {

[[noreturn]] void throwException(const char* what) {
    throw std::runtime_error(what);
}

[[noreturn]] void throwNumber() {
    throw 1;
}

/* RecordingLibrary.c */
void onStaticObject();

}  // extern "C"

namespace {

struct StaticObject {
    StaticObject() { onStaticObject(); }
} object;

}  // namespace
