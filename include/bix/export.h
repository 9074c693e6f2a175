#ifndef BIX_EXPORT_H_
#define BIX_EXPORT_H_

/// Marks what the shared library exports. Everything else in it is hidden.

#if defined(__GNUC__)
#define BIX_EXPORT __attribute__((visibility("default")))
#else
#define BIX_EXPORT
#endif

#endif  // BIX_EXPORT_H_
