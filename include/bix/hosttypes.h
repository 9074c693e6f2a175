#ifndef BIX_HOSTTYPES_H_
#define BIX_HOSTTYPES_H_

/// The few Windows-shaped names that the library's interface carries. Hosts that include the
/// headers of a Windows-compatibility layer first get the very same types.

/// An opaque, pointer-sized key that names a loaded module. Only compared, never dereferenced.
struct HINSTANCE__;
typedef struct HINSTANCE__* HINSTANCE;

#endif  // BIX_HOSTTYPES_H_
