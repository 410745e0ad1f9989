// The process-wide enumeration lock, in a unit of its own: the network listener takes it
// without pulling USB enumeration in (tests replace that with doubles).
#include <mutex>

std::mutex enum_lock;
