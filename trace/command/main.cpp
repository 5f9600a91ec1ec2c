// tarvix-trace: what `tarvix trace` runs.
#include "program.hpp"
#include "trace/command/record.hpp"

namespace {

void addCommands(tool::Commands& commands)
{
    trace::addTraceCommands(commands);
}

} // namespace

int main(int argumentCount, char** arguments)
{
    tool::runProgram({.add = addCommands, .runsOthers = true}, argumentCount, arguments);
}
