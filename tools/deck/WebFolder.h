// Finds the folder of the page's files: ../share/velomar/deck from the program's folder, both in
// the build tree and where it is installed. Throws std::exception if the program can't find itself.
#pragma once

#include <string>

std::string webFolder();
