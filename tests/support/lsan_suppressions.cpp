// For the address sanitizer: LLVM's OpenMP run-time keeps what it knows of a team of threads to the end of the
// process, and loses sight of it when the number of threads changes. Not ours to free.
extern "C" const char* __lsan_default_suppressions() {  // NOLINT: the name is the sanitizer's
  return "leak:libomp.so";
}
