// The least that a C++ process costs: bench/startup measures the others against it.
#include <iostream>

int main() {
    std::cout << '\n';
}
