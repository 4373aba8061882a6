#include "CLI/StartUp.h"

namespace cli {

void runStartUpRoutine() {}

}  // namespace cli
