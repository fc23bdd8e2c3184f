#include "cli/program.h"

int main(int argc, char **argv)
{
    return run_terminal_program(argc, argv);
}
