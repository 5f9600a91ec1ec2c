// tarvix-bridge: what `tarvix bridge` runs.
#include "command.hpp"
#include "program.hpp"

int main(int argumentCount, char** arguments)
{
    tool::runProgram({.add = bridge::addBridgeCommands, .runsOthers = true}, argumentCount, arguments);
}
