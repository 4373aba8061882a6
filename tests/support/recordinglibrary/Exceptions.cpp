#include <stdexcept>

extern "C" {

[[noreturn]] void throwException(const char* what) {
    throw std::runtime_error(what);
}

[[noreturn]] void throwNumber() {
    throw 1;
}

}  // extern "C"
