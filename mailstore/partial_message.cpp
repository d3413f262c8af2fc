#include "mailstore/partial_message.hpp"

#include "mailstore/file_io.hpp"
#include "mailstore/gmime_support.hpp"
#include "mailstore/store_error.hpp"

namespace trovadex::mailstore {
namespace {

std::string safeFileName(const char* name) {
  std::string safe = name ? name : "";
  for (char& c : safe) {
    if (c == '/' || c == '\0') c = '_';
  }
  if (safe.empty() || safe == "." || safe == "..") safe = "Attachment";
  return safe;
}

std::string decodedBody(GMimeDataWrapper* content) {
  GObjectPtr<GMimeStream> memory(g_mime_stream_mem_new());
  g_mime_data_wrapper_write_to_stream(content, memory.get());
  GByteArray* array = g_mime_stream_mem_get_byte_array(GMIME_STREAM_MEM(memory.get()));
  return std::string(reinterpret_cast<const char*>(array->data), array->len);
}

}  // namespace

foundation::Result<std::optional<PartialMessage>> makePartialMessage(std::string_view bytes) {
  ensureGMimeInitialized();
  GObjectPtr<GMimeStream> stream(g_mime_stream_mem_new_with_buffer(bytes.data(), bytes.size()));
  GObjectPtr<GMimeParser> parser(g_mime_parser_new_with_stream(stream.get()));
  GObjectPtr<GMimeMessage> message(g_mime_parser_construct_message(parser.get(), nullptr));
  if (!message) return storeError(StoreErrorCode::Unparseable, "the message cannot be parsed");

  PartialMessage partial;
  forEachMimeLeaf(g_mime_message_get_mime_part(message.get()),
                  [&](GMimeObject* leaf, const std::string& number) {
                    if (!GMIME_IS_PART(leaf) || !isAttachmentLeaf(leaf)) return;
                    GMimePart* part = GMIME_PART(leaf);
                    GMimeDataWrapper* content = g_mime_part_get_content(part);
                    if (!content) return;
                    GMimeStream* raw = g_mime_data_wrapper_get_stream(content);
                    const gint64 encodedLength = raw ? g_mime_stream_length(raw) : 0;
                    if (encodedLength <= 0) return;

                    partial.parts.push_back({number, safeFileName(g_mime_part_get_filename(part)),
                                             decodedBody(content)});
                    GObjectPtr<GMimeStream> empty(g_mime_stream_mem_new());
                    GObjectPtr<GMimeDataWrapper> nothing(g_mime_data_wrapper_new_with_stream(
                        empty.get(), g_mime_part_get_content_encoding(part)));
                    g_mime_part_set_content(part, nothing.get());
                    g_mime_object_set_header(leaf, kStrippedLengthHeader,
                                             std::to_string(encodedLength).c_str(), nullptr);
                  });
  if (partial.parts.empty()) return std::optional<PartialMessage>();
  partial.message = takeGString(g_mime_object_to_string(GMIME_OBJECT(message.get()), nullptr));
  return std::optional<PartialMessage>(std::move(partial));
}

foundation::Status writeStrippedParts(const std::filesystem::path& attachmentsFolder,
                                      const std::vector<StrippedPart>& parts) {
  for (const auto& part : parts) {
    if (auto written = writeNewFile(attachmentsFolder / part.partNumber / part.fileName, part.body);
        !written) {
      return written;
    }
  }
  return {};
}

}  // namespace trovadex::mailstore
