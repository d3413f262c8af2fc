#include "mailstore/gmime_support.hpp"

#include <gmime/gmime.h>

#include <algorithm>
#include <mutex>

namespace trovadex::mailstore {

void ensureGMimeInitialized() {
  static std::once_flag once;
  std::call_once(once, [] { g_mime_init(); });
}

namespace {

// Messages attached inside attached messages deeper than this are not entered: no real message
// nests so deep, and a crafted one must not exhaust the stack.
constexpr int kDeepestMimeNesting = 64;

using LeafVisitor = std::function<void(GMimeObject*, const std::string&)>;

void walkBody(GMimeObject* body, const std::string& number, const LeafVisitor& visit);

// A part numbered number: a multipart's children are number.1, number.2, ...; a leaf is visited,
// and an attached message's own body is walked below the leaf's number.
void walkPart(GMimeObject* object, const std::string& number, const LeafVisitor& visit, int depth) {
  if (GMIME_IS_MULTIPART(object)) {
    GMimeMultipart* multipart = GMIME_MULTIPART(object);
    const int count = g_mime_multipart_get_count(multipart);
    for (int index = 0; index < count; ++index) {
      const std::string child = (number.empty() ? "" : number + ".") + std::to_string(index + 1);
      walkPart(g_mime_multipart_get_part(multipart, index), child, visit, depth + 1);
    }
    return;
  }
  visit(object, number);
  if (GMIME_IS_MESSAGE_PART(object) && depth < kDeepestMimeNesting) {
    GMimeMessage* inner = g_mime_message_part_get_message(GMIME_MESSAGE_PART(object));
    GMimeObject* body = inner ? g_mime_message_get_mime_part(inner) : nullptr;
    if (body) walkBody(body, number, visit);
  }
}

// A message's body under the number of the part that holds it ("" for the message itself): a
// multipart body's children are number.1, ...; a single-part body is number.1 (or "1").
void walkBody(GMimeObject* body, const std::string& number, const LeafVisitor& visit) {
  const int depth = static_cast<int>(std::count(number.begin(), number.end(), '.')) + 1;
  if (GMIME_IS_MULTIPART(body)) {
    walkPart(body, number, visit, depth);
  } else {
    walkPart(body, number.empty() ? "1" : number + ".1", visit, depth);
  }
}

}  // namespace

void forEachMimeLeaf(
    GMimeObject* top,
    const std::function<void(GMimeObject* leaf, const std::string& number)>& visit) {
  if (top) walkBody(top, "", visit);
}

bool isAttachmentLeaf(GMimeObject* leaf) {
  if (GMIME_IS_MESSAGE_PART(leaf)) {
    return g_strcmp0(g_mime_object_get_disposition(leaf), "attachment") == 0;
  }
  if (!GMIME_IS_PART(leaf)) return false;
  GMimePart* part = GMIME_PART(leaf);
  return g_mime_part_get_filename(part) != nullptr || g_mime_part_is_attachment(part);
}

}  // namespace trovadex::mailstore
