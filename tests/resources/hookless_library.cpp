// A library without hooks. It may be linked against the library, which has some.

__attribute__((visibility("default"))) int g_hookless = 1;
