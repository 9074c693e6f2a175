#ifndef BIX_RESOURCES_PRODUCT_IDENTITY_H_
#define BIX_RESOURCES_PRODUCT_IDENTITY_H_

/// Rules about the product's identifiers that depend on which tool is built.

namespace bix::impl {

/// What the identifiers of the model and Atelan interfaces end in.
constexpr const char* ApiSuffix(int toolId) { return toolId == 5 ? "" : "M"; }

}  // namespace bix::impl

#endif  // BIX_RESOURCES_PRODUCT_IDENTITY_H_
