// A shared library that opens well but is no plug-in.
extern "C" __attribute__((visibility("default"))) int somethingElse() { return 1; }
