#pragma once

namespace vicinix::host {

// The exit statuses of every vicinix-host command: one table, so that a
// script or a service manager tells what went wrong without parsing the text.
enum ExitCode : int {
  kExitOk = 0,
  // A file the command was asked to write, or the database, could not be written.
  kExitNotWritten = 1,
  // The command line is wrong, or what it names cannot be used here: an
  // unreadable capture or key file, an unknown campaign, no display for
  // --gui, a data directory another run holds.
  kExitUsage = 2,
  // The backend or a web page failed or refused.
  kExitRemoteFailed = 3,
  // The backend or a web page did not answer in time.
  kExitRemoteTimedOut = 4,
  // The data directory, or the database in it, does not exist.
  kExitNoData = 5,
  // The database exists but cannot be read (damaged, or of a newer SDK).
  kExitDataUnreadable = 6,
};

// The table as the top-level help (and so the man page) prints it.
inline constexpr const char* kExitCodeHelp =
    "Exit status (every command):\n"
    "  0  done\n"
    "  1  a file the command was asked to write, or the database, could not be written\n"
    "  2  usage: the command line is wrong, or what it names cannot be used here (a capture\n"
    "     or key file that cannot be read, an unknown campaign, no display for --gui, a data\n"
    "     directory another run holds)\n"
    "  3  the backend or a web page failed or refused\n"
    "  4  the backend or a web page did not answer in time\n"
    "  5  the data directory, or the database in it, does not exist\n"
    "  6  the database cannot be read (damaged, or written by a newer SDK)\n";

}  // namespace vicinix::host
