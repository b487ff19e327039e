// Only in the sanitizer build.  A program that switched to its session
// user is no longer dumpable, so LeakSanitizer cannot inspect it when it
// exits and would end it without its response; leaks are checked by the
// unit tests, whose processes keep their identity.
extern "C" const char* __asan_default_options()
{
    return "detect_leaks=0";
}
