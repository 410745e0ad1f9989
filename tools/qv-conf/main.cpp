#include <iostream>

#include "QvConfCli.h"

int main(int argc, char** argv)
{
    QvConfCli cli(std::cout, std::cerr);
    return cli.run(std::vector<std::string>(argv + 1, argv + argc));
}
