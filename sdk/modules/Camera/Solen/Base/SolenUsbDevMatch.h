// How a Solen driver picks its camera's video function among the candidates: strict
// (only one behind the control function's own hub) or lenient (else the last one listed,
// for USB topologies a virtual machine rewrites). Library-wide; lenient until set.
#pragma once

void setSolenUsbDevMatch(bool strict);
bool solenUsbDevMatch();
