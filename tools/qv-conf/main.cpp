#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <sstream>
#include <string>

#include "QvConfCli.h"

int main(int argc, char** argv)
{
    // The library's log lines are written to standard output; the tool's results own it, so
    // the lines go to standard error and the results are written once the command is done.
    std::fflush(stdout);
    const int results = dup(STDOUT_FILENO);
    if (results >= 0) dup2(STDERR_FILENO, STDOUT_FILENO);
    std::ostringstream out;
    QvConfCli cli(results >= 0 ? static_cast<std::ostream&>(out) : std::cout, std::cerr);
    const int status = cli.run(std::vector<std::string>(argv + 1, argv + argc));
    std::cout.flush();
    const std::string text = out.str();
    for (size_t done = 0; results >= 0 && done < text.size();) {
        const ssize_t n = write(results, text.data() + done, text.size() - done);
        if (n <= 0) return 1;
        done += static_cast<size_t>(n);
    }
    return status;
}
