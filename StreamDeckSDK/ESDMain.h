// From the command line to the end of the connection.
#pragma once

class ESDBasePlugin;

// Runs `plugin`, which is not owned, on the calling thread until the connection to the Stream Deck
// application has ended. Returns the process's exit code: 1 if the command line was refused, with
// a log line that says why, and 0 however the connection ended.
//
// The command line is the program's name and four pairs, in any order: -port, -pluginUUID,
// -registerEvent, -info.
int esd_main(int argc, const char* const* argv, ESDBasePlugin* plugin);
