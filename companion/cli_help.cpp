#include <string>

#include "companion/cli_arguments.hpp"

namespace trovadex::companion {
namespace {

constexpr const char* kOverview = R"(Usage: trovadex COMMAND [OPTIONS]

Searches mail through the Trovadex Mail plug-in, which runs inside the mail host.

Commands:
  search QUERY             run a Spotlight query string over the mail messages
  search --text WORDS      search authors, recipients, subject and attachments for words
  status                   tell whether a plug-in answers, and its version
  show MESSAGE             print a found message: header fields, attachments, text
  open MESSAGE             open a found message with the desktop's mail program
  install-desktop-entry    install the companion's desktop entry for this user
  help [COMMAND]           show this text, or the options of COMMAND
  --version                print the companion's version

Exit status:
  0  messages were found (status: a plug-in answered; install: the entry was written)
  1  no message was found (install: the entry could not be written)
  2  the command line was wrong
  3  no plug-in answered within the timeout, or it quit or fell silent during the search
  4  the query failed; its error message goes to standard error
An interrupted search (Ctrl-C) cancels its query and exits with 0 or 1 like a finished one.
)";

constexpr const char* kSearch = R"(Usage: trovadex search QUERY [OPTIONS]
       trovadex search --text WORDS [--fuzzy N] [OPTIONS]

QUERY is a Spotlight query string, for example 'kMDItemSubject == "*invoice*"cd'; an empty
QUERY ('') matches every message. --text turns plain words into a query over attachments
(exactly) and authors, recipients and subject (fuzzily), every word matching as a prefix.

Options:
  --text WORDS        search for these words instead of a QUERY (quote several words)
  --fuzzy N           similarity threshold of --text, 0 to 100 (default 56)
  --live              keep running after the first results, printing additions (+) and
                      removals (-) until interrupted
  --sort ATTR         sort each delivery of results by this attribute (descending)
  --ascending         sort ascending instead
  --limit N           stop after N messages
  --format FORMAT     table (default), json (one JSON object per line: the message record
                      with its attributes; dates in ISO 8601) or paths (one .emlx path per line)
  --timeout SECONDS   how long to wait for each answer of the plug-in (default 10)
  --client NAME       the client name to search as (default trovadex-<pid>)

A progress line goes to standard error when it is a terminal. Ctrl-C sends Cancel and
Terminate to the plug-in and exits cleanly. Exit status: 0 found, 1 none found, 2 usage,
3 no plug-in answered, 4 query error.
)";

constexpr const char* kStatus = R"(Usage: trovadex status [--timeout SECONDS] [--client NAME]

Sends Connect (asking the plug-in to check the protocol version) and prints whether a plug-in
answered, its version and its protocol compatibility version. Exit status: 0 a plug-in
answered, 2 usage, 3 none answered within the timeout (default 10 seconds).
)";

constexpr const char* kShow = R"(Usage: trovadex show MESSAGE [--raw] [--timeout SECONDS]

MESSAGE is a library ID (the "libraryID" of a search's json output; the plug-in is asked for
its file) or the path of a message file (.emlx or .eml). Prints the message's From, To, Cc,
Date and Subject, its attachments and its text body; --raw prints its RFC 822 bytes instead.
Exit status: 0 shown, 1 no such message or it cannot be read, 2 usage, 3 no plug-in answered.
)";

constexpr const char* kOpen = R"(Usage: trovadex open MESSAGE [--timeout SECONDS]

MESSAGE is a library ID or the path of a message file, as for show. Writes the message as an
.eml file into ~/.cache/trovadex/messages and opens it with the desktop's program for
message/rfc822 mail. Exit status: 0 opened, 1 no such message or no program to open it,
2 usage, 3 no plug-in answered.
)";

constexpr const char* kInstall = R"(Usage: trovadex install-desktop-entry [--xdg-data-home DIR]

Writes org.trovadex.Trovadex.desktop into DIR/applications (DIR defaults to $XDG_DATA_HOME,
or ~/.local/share), pointing at this trovadex program, so that the plug-in finds the companion
installed. Exit status: 0 written, 1 not written, 2 usage.
)";

}  // namespace

std::string helpText(const std::string& command) {
  if (command == "search") return kSearch;
  if (command == "status") return kStatus;
  if (command == "install-desktop-entry") return kInstall;
  if (command == "show") return kShow;
  if (command == "open") return kOpen;
  return kOverview;
}

}  // namespace trovadex::companion
