// Linked into the AddressSanitizer builds of the programs that start Qt
// WebEngine (vicinix-host and the Qt tests).
//
// Chromium is built without the sanitizer and frees some of its objects
// through a base-class pointer whose size differs from the allocation
// (WebContentsAdapter's teardown), and it keeps process-lifetime caches that
// LeakSanitizer reports at exit, as does fontconfig under it. None of these
// can be fixed here. The size check of operator delete is off in these two
// programs only; every other program of the build keeps it, and leaks are
// ignored only when their allocation comes from those two libraries.
extern "C" const char* __asan_default_options() {
  return "new_delete_type_mismatch=0";
}

extern "C" const char* __lsan_default_suppressions() {
  return "leak:libQt6WebEngineCore.so\n"
         "leak:libfontconfig.so\n";
}
