#include "java/java_tables.h"

namespace bix::impl {

JavaTables::JavaTables() {
  wrappersMutex.init(false);
  errorsMutex.init(false);
}

}  // namespace bix::impl

namespace jniutils {
namespace {

// CHOICE(java-null-name): a null name is the empty text, as everywhere.
// Test: JavaCreators.ANullNameIsTheEmptyText
const char* NameOf(const char* name) { return name != nullptr ? name : ""; }

}  // namespace

void RegisterCppWrapperObjectCreator(const char* name, ICppWrapperObjectCreator* creator) {
  bix::impl::Tables().mapCppWrapperObjectCreators[NameOf(name)] = creator;
}

void UnregisterCppWrapperObjectCreator(const char* name) {
  auto& creators = bix::impl::Tables().mapCppWrapperObjectCreators;
  const auto found = creators.find(NameOf(name));
  if (found != creators.end()) creators.erase(found);
}

}  // namespace jniutils
