// Lets a front end other than the terminal follow a flash programming run
// that the flash command drives.
#pragma once

#include <cstdint>
#include <functional>

namespace svodb_tool {

// Called with each progress step the library posts (0 to total - 1); an
// empty observer stops the calls.
using FlashProgressObserver = std::function<void(int32_t step, int32_t total)>;
void ObserveFlashProgress(FlashProgressObserver observer);

}  // namespace svodb_tool
