// One line on standard error per failure the emulator detects ("orr-emulator: ...").
#pragma once

namespace orrindale::emulator {

void emulatorLog(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace orrindale::emulator
