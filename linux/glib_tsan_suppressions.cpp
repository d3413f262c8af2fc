// ThreadSanitizer suppressions for programs that run GLib, linked into test executables only.
//
// GLib synchronises its threads (the bus worker, the main loop) with futexes that
// ThreadSanitizer does not see, so memory that GLib allocates on one thread and frees on another
// looks like a race. Calls that GLib itself makes into the allocator and the string functions are
// therefore not tracked; every access made by this project's code still is.
extern "C" const char* __tsan_default_suppressions() {
  return "called_from_lib:libglib-2.0.so.0\n"
         "called_from_lib:libgio-2.0.so.0\n"
         "called_from_lib:libgobject-2.0.so.0\n";
}
