#include "host/commands/CommandLine.h"

int main(int argc, char ** argv)
{
    return ketmon::run(argc, argv);
}
