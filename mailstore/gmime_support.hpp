// GMime support: one-time library set-up and owners for GObject references and GLib strings.
//
// GMime is initialised once per process, on first use, whichever thread gets there first; after
// that independent messages may be parsed on different threads at once.
#pragma once

#include <gmime/gmime.h>

#include <functional>
#include <memory>
#include <string>

namespace trovadex::mailstore {

void ensureGMimeInitialized();

struct GObjectUnref {
  void operator()(gpointer object) const {
    if (object) g_object_unref(object);
  }
};
template <typename T>
using GObjectPtr = std::unique_ptr<T, GObjectUnref>;

struct GFree {
  void operator()(gpointer memory) const { g_free(memory); }
};
using GCharPtr = std::unique_ptr<char, GFree>;

// The text of a g_malloc'd string, which is freed; empty for null.
inline std::string takeGString(char* text) {
  GCharPtr owner(text);
  return text ? std::string(text) : std::string();
}

// Calls visit for every leaf of the MIME tree under top (a message's top part) with the leaf's
// part number as IMAP numbers it ("1", "2.1"). An attached message (message/rfc822) is a leaf, and
// then the leaves of its own body are visited below its number ("2.1", "2.2"), at any depth.
void forEachMimeLeaf(
    GMimeObject* top,
    const std::function<void(GMimeObject* leaf, const std::string& number)>& visit);

// A leaf counts as an attachment when it is a part with a file name or an "attachment"
// disposition, or an attached message with an "attachment" disposition.
bool isAttachmentLeaf(GMimeObject* leaf);

}  // namespace trovadex::mailstore
