#include "mailstore/gmime_support.hpp"

#include <gmime/gmime.h>

#include <mutex>

namespace trovadex::mailstore {

void ensureGMimeInitialized() {
  static std::once_flag once;
  std::call_once(once, [] { g_mime_init(); });
}

namespace {

void walk(GMimeObject* object, const std::string& number,
          const std::function<void(GMimeObject*, const std::string&)>& visit) {
  if (GMIME_IS_MULTIPART(object)) {
    GMimeMultipart* multipart = GMIME_MULTIPART(object);
    const int count = g_mime_multipart_get_count(multipart);
    for (int index = 0; index < count; ++index) {
      const std::string child = (number.empty() ? "" : number + ".") + std::to_string(index + 1);
      walk(g_mime_multipart_get_part(multipart, index), child, visit);
    }
    return;
  }
  visit(object, number.empty() ? "1" : number);
}

}  // namespace

void forEachMimeLeaf(
    GMimeObject* top,
    const std::function<void(GMimeObject* leaf, const std::string& number)>& visit) {
  if (top) walk(top, "", visit);
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
