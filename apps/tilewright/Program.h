/// Program: the whole of the program, from its words to its exit status.
#pragma once

namespace Tilewright::App {

/// Does what the words of the command line ask for, and gives the exit status. To be called once, at the
/// start of main().
int runProgram(int argc, char** argv);

} // namespace Tilewright::App
