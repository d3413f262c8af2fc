// The commands of `trovadex` around one message: show prints it, open hands it to the desktop.
//
// Both take a library ID (looked up through the plug-in) or a message file's path. show prints
// the message's header fields, attachments and text body, or with --raw its RFC 822 bytes
// exactly; open writes an openable .eml copy into the user's cache and starts the desktop's
// program for message/rfc822 on it. Results go to out, messages ("trovadex: ...") to err; the
// return value is the exit status (exit_codes.hpp). Main thread only.
#pragma once

#include <cstdio>
#include <ostream>

#include "companion/cli_arguments.hpp"

namespace trovadex::companion {

int runShowCommand(const ShowArguments& arguments, std::ostream& out, std::FILE* err);
int runOpenCommand(const OpenArguments& arguments, std::ostream& out, std::FILE* err);

}  // namespace trovadex::companion
