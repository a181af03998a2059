// Sanitizer defaults for the leak suite only. Its thousand rounds load and
// free every shipped locale and conversion; with the default 256 MB
// quarantine each round runs on fresh pages, and a third of its time went
// to faulting them in. An 8 MB quarantine keeps freed memory in reuse. The
// suite checks heap and descriptor counts; use after free is still caught
// with the default quarantine by every other suite. An option named in
// ASAN_OPTIONS takes precedence over these.
extern "C" const char *__asan_default_options() { return "quarantine_size_mb=8"; }
