#include "mailstore/attachment_types.hpp"

#include <glib.h>

#include <array>

namespace trovadex::mailstore {
namespace {

struct TypeEntry {
  std::string_view mimeType;
  std::string_view extension;
  AttachmentType type;
};

constexpr std::array<TypeEntry, 26> kTypes{{
    {"application/pdf", "pdf", {"com.adobe.pdf", "PDF document"}},
    {"image/jpeg", "jpg", {"public.jpeg", "JPEG image"}},
    {"image/jpg", "jpeg", {"public.jpeg", "JPEG image"}},
    {"image/png", "png", {"public.png", "PNG image"}},
    {"image/gif", "gif", {"com.compuserve.gif", "GIF image"}},
    {"image/heic", "heic", {"public.heic", "HEIC image"}},
    {"image/tiff", "tiff", {"public.tiff", "TIFF image"}},
    {"text/plain", "txt", {"public.plain-text", "Plain Text Document"}},
    {"text/html", "html", {"public.html", "HTML text"}},
    {"text/csv", "csv", {"public.comma-separated-values-text", "CSV Document"}},
    {"text/calendar", "ics", {"public.calendar-event", "iCalendar file"}},
    {"text/vcard", "vcf", {"public.vcard", "vCard"}},
    {"application/zip", "zip", {"public.zip-archive", "ZIP archive"}},
    {"application/gzip", "gz", {"org.gnu.gnu-zip-archive", "gzip compressed archive"}},
    {"application/msword", "doc", {"com.microsoft.word.doc", "Microsoft Word 97-2004 document"}},
    {"application/vnd.openxmlformats-officedocument.wordprocessingml.document",
     "docx",
     {"org.openxmlformats.wordprocessingml.document", "Microsoft Word document"}},
    {"application/vnd.ms-excel",
     "xls",
     {"com.microsoft.excel.xls", "Microsoft Excel 97-2004 workbook"}},
    {"application/vnd.openxmlformats-officedocument.spreadsheetml.sheet",
     "xlsx",
     {"org.openxmlformats.spreadsheetml.sheet", "Microsoft Excel workbook"}},
    {"application/vnd.ms-powerpoint",
     "ppt",
     {"com.microsoft.powerpoint.ppt", "Microsoft PowerPoint 97-2004 presentation"}},
    {"application/vnd.openxmlformats-officedocument.presentationml.presentation",
     "pptx",
     {"org.openxmlformats.presentationml.presentation", "Microsoft PowerPoint presentation"}},
    {"application/pkcs7-signature", "p7s", {"com.rsa.pkcs-7-signature", "PKCS #7 signature"}},
    {"application/pgp-signature", "asc", {"org.openpgp.signature", "OpenPGP signature"}},
    {"message/rfc822", "eml", {"public.email-message", "Mail Message"}},
    {"audio/mpeg", "mp3", {"public.mp3", "MP3 audio"}},
    {"video/mp4", "mp4", {"public.mpeg-4", "MPEG-4 movie"}},
    {"application/json", "json", {"public.json", "JSON document"}},
}};

constexpr AttachmentType kUnknownType{"public.data", "Document"};

}  // namespace

AttachmentType attachmentTypeFor(std::string_view mimeType, std::string_view fileName) {
  for (const auto& entry : kTypes) {
    if (entry.mimeType == mimeType) return entry.type;
  }
  const std::size_t dot = fileName.rfind('.');
  if (dot == std::string_view::npos) return kUnknownType;
  const std::string_view extension = fileName.substr(dot + 1);
  for (const auto& entry : kTypes) {
    if (entry.extension.size() == extension.size() &&
        g_ascii_strncasecmp(entry.extension.data(), extension.data(), extension.size()) == 0) {
      return entry.type;
    }
  }
  return kUnknownType;
}

}  // namespace trovadex::mailstore
