// Attachment types: the type identifier and the readable kind of an attached file.
//
// Looked up by MIME type first and, for generic types ("application/octet-stream"), by the file
// name's extension; anything unknown is "public.data", kind "Document". Plain function over a
// fixed table: safe from any thread.
#pragma once

#include <string>
#include <string_view>

namespace trovadex::mailstore {

struct AttachmentType {
  std::string_view typeIdentifier;  // "com.adobe.pdf"
  std::string_view kind;            // "PDF document"
};

AttachmentType attachmentTypeFor(std::string_view mimeType, std::string_view fileName);

}  // namespace trovadex::mailstore
