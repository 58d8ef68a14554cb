#include <iostream>

#include "qxdat_cli.h"

int main(int argc, char** argv)
{
    std::vector<std::string> args(argv + 1, argv + argc);
    return qxdat::run(args, std::cout, std::cerr);
}
