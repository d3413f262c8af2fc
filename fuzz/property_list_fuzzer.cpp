// Any bytes as a property list, the way the client reads a batch and the host its defaults:
// reading must end in a value or an error, never a crash, and what was read must write and read
// back unchanged in the binary form the host writes.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "foundation/property_list.hpp"

using trovadex::foundation::decodePropertyList;
using trovadex::foundation::encodePropertyList;
using trovadex::foundation::PropertyListFormat;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  auto read = decodePropertyList(bytes);
  if (!read.ok()) return 0;
  auto written = encodePropertyList(read.value(), PropertyListFormat::Binary);
  // A value read from a file is always one the writer accepts.
  if (!written.ok()) {
    std::fprintf(stderr, "read but not written: %s\n",
                 written.error().localizedDescription.c_str());
    std::abort();
  }
  auto again = decodePropertyList(written.value());
  if (!again.ok() || !(again.value() == read.value())) std::abort();
  return 0;
}
