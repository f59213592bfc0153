// The two folders in the working directory into which images and layouts are written for the Stream
// Deck application to read. They are installed with the plug-in and never created here.
#pragma once

#include <string>

// Each removes the files and links of its folder and leaves everything else alone. A missing folder
// is no error. On the main thread, before the link thread starts or after it has ended.
void cleanImageFolder();
void cleanLayoutsFolder();

// Writes a file, replacing any earlier one. A file that can't be opened or written is skipped: the
// commands that name it go out all the same.
void writeScratchFile(const std::string& path, const std::string& content);
