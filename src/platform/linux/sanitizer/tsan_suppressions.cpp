// Linked into every program built with ThreadSanitizer.
//
// GLib's mutexes are futexes ThreadSanitizer cannot see, so the copies and
// reallocations GLib makes under them look like races. Only accesses made by
// interceptors called from inside GLib are ignored; ours are still checked.
// GDBus (in GIO), GObject and gdk-pixbuf's loader lock rest on the same
// primitives. Qt's mutexes and wait conditions are futexes too: the
// threads of its pool, which scale and draw large images in stripes, hand
// work back and forth under them.
extern "C" const char* __tsan_default_suppressions() {
  return "called_from_lib:libglib-2.0.so\n"
         "called_from_lib:libgobject-2.0.so\n"
         "called_from_lib:libgio-2.0.so\n"
         "called_from_lib:libgdk_pixbuf-2.0.so\n"
         "called_from_lib:libQt6Core.so\n"
         "called_from_lib:libQt6Gui.so\n";
}
