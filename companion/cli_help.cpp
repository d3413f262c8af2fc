#include <string>

#include "companion/cli_arguments.hpp"

namespace trovadex::companion {
namespace {

constexpr const char* kOverview = R"(Usage: trovadex COMMAND [OPTIONS]

Searches mail through the Trovadex Mail plug-in, which runs inside the mail host
(trovadex-mailhost run). Both must be on the same session bus.

Commands:
  search QUERY             run a Spotlight query string over the mail messages
  search --text WORDS      search authors, recipients, subject and attachments for words
  status                   tell whether a plug-in answers, and its version
  show MESSAGE             print a found message: header fields, attachments, text
  open MESSAGE             open a found message with the desktop's mail program
  install-desktop-entry    install the companion's desktop entry for this user (once)
  help [COMMAND]           show this text, or the options of COMMAND (also COMMAND --help)
  --version                print the companion's version

Exit status:
  0  search: messages were found; status: a plug-in answered; install: the entry was
     written; help and --version
  1  search: no message was found; install: the entry could not be written
  2  the command line was wrong
  3  no session bus, no plug-in answered within the timeout, or it quit or fell silent
     during the search
  4  search: the query failed; its error message goes to standard error
An interrupted search (Ctrl-C or SIGTERM) cancels its query and exits with 0 or 1 like a
finished one.

The plug-in answers as soon as the host has loaded it, but the host's first run indexes the
whole store: until the host logs "Indexer: in step with the store", a search sees only the
messages indexed so far. The host's log goes to its standard error (and to syslog);
this program prints only results, and problems on standard error.
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
                      removals (-) as the store changes, until Ctrl-C or SIGTERM
  --sort ATTR         sort by this attribute, descending (newest first); for example
                      kMDItemContentCreationDate, kMDItemSubject, kMDItemFSSize.
                      Without --live the whole result is sorted before --limit cuts it
                      and nothing prints until the search has gathered every message;
                      with --live the order holds only within each batch as it arrives
  --ascending         sort ascending instead (messages lacking ATTR come first)
  --limit N           print at most N messages (without --sort the search stops as soon
                      as N have arrived, in the order the engine finds them)
  --format FORMAT     table (default: date, first author, subject, path), json (one JSON
                      object per line: the message record with its attributes; dates in
                      ISO 8601 UTC, data in base64) or paths (one .emlx path per line)
  --timeout SECONDS   how long to wait for each answer of the plug-in (default 10)
  --client NAME       the client name to search as (default trovadex-<pid>)

Without --live the search ends when the plug-in reports its first result set complete.
A progress line goes to standard error when it is a terminal. Ctrl-C sends Cancel and
Terminate to the plug-in and exits cleanly. Exit status: 0 found, 1 none found, 2 usage,
3 no session bus or no plug-in answered, 4 query error (message on standard error).
)";

constexpr const char* kStatus = R"(Usage: trovadex status [--timeout SECONDS] [--client NAME]

Sends Connect (asking the plug-in to check the protocol version) and prints whether a plug-in
answered, its version and its protocol compatibility version. Exit status: 0 a plug-in
answered, 2 usage, 3 no session bus, or none answered within the timeout (default 10
seconds).
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
or ~/.local/share), pointing at this trovadex program. The plug-in looks for this entry to
know that its companion is installed; without it the host offers to remove the plug-in.
Installing again replaces the entry. Exit status: 0 written, 1 not written, 2 usage.
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
