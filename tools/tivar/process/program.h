// What a program is given by the system when it begins.
#pragma once

#include <string>

namespace tool {

// Files opened later must not become standard streams; what goes through those is bytes. The
// arguments become UTF-8 where they are not yet what the user typed.
void prepareProgram(int& argc, char**& argv);

// Where the program's file is; "" = nobody knows.
std::string programDirectory();

}  // namespace tool
