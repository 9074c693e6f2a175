// No include guard: the other half of "bix/hostmacros_off.h".

/// Gives the host the macros back that "bix/hostmacros_off.h" took away.

#pragma pop_macro("FormatMessage")
#pragma pop_macro("max")
#pragma pop_macro("min")
