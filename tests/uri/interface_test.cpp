// What hosts and add-ins are compiled against: this file is a host that uses every operation of URNs,
// schemes and file streams with exactly the types they have.

#include <ios>
#include <istream>
#include <list>
#include <ostream>
#include <streambuf>
#include <type_traits>

#include <gtest/gtest.h>

#include "bix/filestreams.h"
#include "bix/urischeme.h"
#include "bix/urn.h"

namespace {

using bix::SString;
using bix::SUriScheme;
using bix::SUriSchemeManager;
using bix::SUrnResolver;

using Texts = bix::SVector<SString>;
using Items = bix::SVector<void*>;

template <class Pointer>
bool IsThere(Pointer pointer) {
  return pointer != nullptr;
}

TEST(UriInterface, UrnOperationsHaveTheirTypes) {
  using Text = const SString&;
  using Out = SString&;
  using Status = SUrnResolver::SURNStatus&;
  EXPECT_TRUE(IsThere<void (*)()>(&SUrnResolver::RegisterURNsWithoutOptions));
  EXPECT_TRUE(IsThere<void (*)(Text)>(&SUrnResolver::RegisterURNsFromOptionString));
  EXPECT_TRUE(IsThere<bool (*)(Text, Text)>(&SUrnResolver::RegisterUrn));
  EXPECT_TRUE(IsThere<void (*)(Text, Text)>(&SUrnResolver::RegisterURNAndSaveURNMapFile));
  EXPECT_TRUE(IsThere<bool (*)(Text)>(&SUrnResolver::IsUrnRegistered));
  EXPECT_TRUE(IsThere<bool (*)(Text)>(&SUrnResolver::CanUrnBeOverridden));
  EXPECT_TRUE(IsThere<void (*)(Text, Out, Out, Status)>(&SUrnResolver::DecodeURN));
  EXPECT_TRUE((IsThere<bool (*)(Text, Out, Status)>(&SUrnResolver::ResolveUrn)));
  EXPECT_TRUE((IsThere<bool (*)(Text, Out)>(&SUrnResolver::ResolveUrn)));
  EXPECT_TRUE((IsThere<void (*)(Text, Out)>(&SUrnResolver::CreateUrn)));
  EXPECT_TRUE((IsThere<void (*)(Text, Text, Out)>(&SUrnResolver::CreateAbsolutePath)));
  EXPECT_TRUE((IsThere<void (*)(Text, Text, Out)>(&SUrnResolver::CreateRelativePath)));
  EXPECT_TRUE((IsThere<bool (*)(Text, Text, bool)>(&SUrnResolver::DoesUrnTargetExist)));
  EXPECT_TRUE((IsThere<bool (*)(Text, bool)>(&SUrnResolver::DoesUrnMappedExist)));
  EXPECT_TRUE((IsThere<void (*)(Text, Texts&)>(&SUrnResolver::DecodeUrnMap)));
  EXPECT_TRUE((IsThere<void (*)(Text, Out, Out)>(&SUrnResolver::DecodeUrnMapped)));
  EXPECT_TRUE(IsThere<void (*)(Out)>(&SUrnResolver::EncodeUrnMap));
  EXPECT_TRUE(IsThere<bool (*)(const char*)>(&bix::BixIsAUrn));
  EXPECT_TRUE(IsThere<bool (*)(const char*)>(&bix::BixIsAHalderUri));
  EXPECT_TRUE(IsThere<bool (*)(const char*)>(&bix::BixIsAOXUri));
}

TEST(UriInterface, NumbersAreWhatHostsAreCompiledWith) {
  EXPECT_EQ(0, SUrnResolver::URN_OK);
  EXPECT_EQ(1, SUrnResolver::URN_NOT_A_URN);
  EXPECT_EQ(2, SUrnResolver::URN_MALFORMED);
  EXPECT_EQ(3, SUrnResolver::URN_NOT_REGISTERED);
  EXPECT_EQ(4u, sizeof(SUrnResolver::SURNStatus));
  EXPECT_EQ(1, SUriScheme::eRead);
  EXPECT_EQ(2, SUriScheme::eWrite);
  EXPECT_EQ(4, SUriScheme::eOpenDialog);
  EXPECT_EQ(8, SUriScheme::eSaveDialog);
  EXPECT_EQ(16, SUriScheme::eDirDialog);
  EXPECT_EQ(16384, bix::SFileStreamBuffer::kBlockSize);
}

TEST(UriInterface, SchemeOperationsHaveTheirTypes) {
  using S = SUriScheme;
  using Uri = const SString&;
  EXPECT_TRUE(IsThere<std::istream* (S::*)(Texts&, Uri)>(&S::OpenRead));
  EXPECT_TRUE(IsThere<std::ostream* (S::*)(Texts&, Uri)>(&S::OpenWrite));
  EXPECT_TRUE(IsThere<int (S::*)(Uri) const>(&S::GetFormat));
  EXPECT_TRUE(IsThere<bool (S::*)(Uri) const>(&S::CanHandle));
  EXPECT_TRUE(IsThere<void (S::*)(SString&) const>(&S::GetSchemeDescription));
  EXPECT_TRUE(IsThere<bool (S::*)(Uri)>(&S::IsReadOnly));
  EXPECT_TRUE(IsThere<int (S::*)() const>(&S::GetCapabilities));
  EXPECT_TRUE((IsThere<int (S::*)(Texts&, Uri, SString&, Uri)>(&S::OpenDialog)));
  EXPECT_TRUE((IsThere<int (S::*)(Texts&, Uri, SString&, Uri)>(&S::SaveDialog)));
  EXPECT_TRUE((IsThere<int (S::*)(Texts&, Uri, SString&)>(&S::DirDialog)));
  EXPECT_TRUE((IsThere<int (S::*)(Texts&, Uri, Items&, const void*)>(&S::DirectRead)));
  EXPECT_TRUE((IsThere<int (S::*)(Texts&, Uri, const Items&, const void*)>(&S::DirectWrite)));
  EXPECT_TRUE(IsThere<void (*)(S&)>(&SUriSchemeManager::Register));
  EXPECT_TRUE(IsThere<void (*)(S&)>(&SUriSchemeManager::UnRegister));
  using Select = S* (*)(const std::list<S*>&);
  EXPECT_TRUE(IsThere<void (*)(Select)>(&SUriSchemeManager::SetSelectSchemeDialog));
}

TEST(UriInterface, StreamsAreStandardStreams) {
  static_assert(std::is_base_of_v<std::streambuf, bix::SFileStreamBuffer>);
  static_assert(std::is_base_of_v<std::ostream, bix::SFile2OstreamAdapter>);
  static_assert(std::is_base_of_v<std::istream, bix::SFile2IstreamAdapter>);
  static_assert(!std::is_copy_constructible_v<bix::SFileStreamBuffer>);
  static_assert(!std::is_copy_constructible_v<bix::SFile2OstreamAdapter>);
  static_assert(!std::is_copy_constructible_v<bix::SFile2IstreamAdapter>);
  using Out = bix::SFile2OstreamAdapter;
  using In = bix::SFile2IstreamAdapter;
  EXPECT_TRUE((IsThere<void (Out::*)(const SString&, int)>(&Out::open)));
  EXPECT_TRUE(IsThere<bool (Out::*)() const>(&Out::good));
  EXPECT_TRUE(IsThere<void (Out::*)()>(&Out::close));
  EXPECT_TRUE((IsThere<void (In::*)(const SString&, int)>(&In::open)));
  EXPECT_TRUE(IsThere<bool (In::*)() const>(&In::good));
  EXPECT_TRUE(IsThere<void (In::*)()>(&In::close));
}

}  // namespace
