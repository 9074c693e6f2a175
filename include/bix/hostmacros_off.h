// No include guard: each header of the library includes this file in front of its first include and
// "bix/hostmacros_on.h" behind its last line.

/// Takes away, for the length of one header, the macros of a host that are named like something the
/// header declares or uses. Hosts that include the headers of a Windows-compatibility layer have
/// FormatMessage, which stands for FormatMessageA or FormatMessageW, and max and min, which also
/// break the headers of the standard library. A declaration must have its own name, whatever is
/// included before it: it is the name that the linker looks for.
///
/// The host's own lines keep the macros. Where they turn a call into another, both names are there:
/// see FormatMessageA.

#pragma push_macro("FormatMessage")
#pragma push_macro("max")
#pragma push_macro("min")
#undef FormatMessage
#undef max
#undef min
