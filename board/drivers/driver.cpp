#include "drivers/driver.h"

namespace orka::board {

void Driver::report(nlohmann::json & /*status*/) const {}

} // namespace orka::board
