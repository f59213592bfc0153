// fontconfig keeps what it has looked up for the life of the process, by pointers that it stores as
// offsets: LeakSanitizer takes that for lost. Nobody calls this in a build without it.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" const char* __lsan_default_suppressions();

extern "C" const char* __lsan_default_suppressions() {
  return "leak:libfontconfig";
}
