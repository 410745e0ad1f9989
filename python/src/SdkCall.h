// How the binding calls the library: outside Python (the call may wait for a camera's
// threads), keeping the log lines the call makes on this thread. A negative
// result raises a CameraError carrying them; the lines of a success go to the logger.
#pragma once

#include <pybind11/pybind11.h>

#include <string>
#include <vector>

#include "CameraError.h"
#include "LogRelay.h"
#include "OutsidePython.h"

namespace orrpy {

template <typename Call>
int sdkCall(const std::string& what, Call&& call)
{
    std::vector<LogLine> lines;
    int ret;
    {
        LogRelay::Scope scope;
        {
            OutsidePython outside;
            ret = call();
        }
        lines = std::move(scope.lines());
    }
    if (ret < 0) {
        LogRelay::flush();
        std::vector<std::string> log;
        for (LogLine& line : lines) log.push_back(std::move(line.text));
        throw CameraError(what, ret, std::move(log));
    }
    LogRelay::keep(std::move(lines));
    LogRelay::flush();
    return ret;
}

}  // namespace orrpy
