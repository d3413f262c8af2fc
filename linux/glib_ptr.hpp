// Owning handles for the GLib objects the adapters hold: each releases its object the GLib way.
//
// GLib's C API hands out references and strings that must be released with a matching call;
// these aliases put that call in the type, so that no early return leaks. Handles are plain
// values: a handle belongs to whoever holds it, and the objects' own thread rules apply.
#pragma once

#include <gio/gio.h>
#include <glib.h>

#include <memory>

namespace trovadex::linux_platform {

struct GObjectUnref {
  void operator()(gpointer object) const { g_object_unref(object); }
};
struct GVariantUnref {
  void operator()(GVariant* variant) const { g_variant_unref(variant); }
};
struct GErrorFree {
  void operator()(GError* error) const { g_error_free(error); }
};
struct GFree {
  void operator()(gpointer memory) const { g_free(memory); }
};
struct GMainContextUnref {
  void operator()(GMainContext* context) const { g_main_context_unref(context); }
};
struct GMainLoopUnref {
  void operator()(GMainLoop* loop) const { g_main_loop_unref(loop); }
};
struct GSourceUnref {
  void operator()(GSource* source) const { g_source_unref(source); }
};

template <typename T>
using GObjectPtr = std::unique_ptr<T, GObjectUnref>;
using GVariantPtr = std::unique_ptr<GVariant, GVariantUnref>;
using GErrorPtr = std::unique_ptr<GError, GErrorFree>;
using GCharPtr = std::unique_ptr<gchar, GFree>;
using GMainContextPtr = std::unique_ptr<GMainContext, GMainContextUnref>;
using GMainLoopPtr = std::unique_ptr<GMainLoop, GMainLoopUnref>;
using GSourcePtr = std::unique_ptr<GSource, GSourceUnref>;

// Takes a floating GVariant reference (as the g_variant_new family returns) into ownership.
inline GVariantPtr adoptVariant(GVariant* variant) {
  return GVariantPtr(variant ? g_variant_ref_sink(variant) : nullptr);
}

}  // namespace trovadex::linux_platform
