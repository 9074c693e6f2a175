#include "bix/product.h"

#include <gtest/gtest.h>

namespace {

using bix::AtelanProduct;

TEST(Product, SpellsItsIdentity) {
  EXPECT_EQ("Kestrane", AtelanProduct::GetRegistryCompanyName());
  EXPECT_EQ("Vorn", AtelanProduct::GetRegistryToolName());
  EXPECT_EQ("4.2.0.2.13177", AtelanProduct::GetFullToolVersion());
  EXPECT_EQ(1, AtelanProduct::GetToolID());
}

TEST(Product, JoinsTheVersionWithAnySeparator) {
  EXPECT_EQ("4.2", AtelanProduct::GetRegistryToolVersion('.'));
  EXPECT_EQ("4_2", AtelanProduct::GetRegistryToolVersion('_'));
  EXPECT_EQ("4v2", AtelanProduct::GetRegistryToolVersion('v'));
  EXPECT_EQ("4%2", AtelanProduct::GetRegistryToolVersion('%'));
  EXPECT_EQ(
      "4\xe9"
      "2",
      AtelanProduct::GetRegistryToolVersion('\xe9'));
  EXPECT_EQ("4", AtelanProduct::GetRegistryToolVersion('\0')) << "a zero byte ends the text";
}

TEST(Product, BuildsSettingsPathsWithSingleBackslashes) {
  EXPECT_EQ("SOFTWARE\\Kestrane\\Vorn\\4.2", AtelanProduct::GetRegistryToolPath());
  EXPECT_EQ("SOFTWARE\\Kestrane\\Vorn\\4.2\\Locale", AtelanProduct::GetRegistryLocalePath());
  EXPECT_EQ("SOFTWARE\\Kestrane\\Vorn\\4.2\\Custom\\Atelan",
            AtelanProduct::GetRegistryToolCustomPath());
}

TEST(Product, BuildsComponentIdentifiers) {
  EXPECT_EQ("Kestrane.VornDeveloperModelAPI.4.2M", AtelanProduct::GetVornModelProgID());
  EXPECT_EQ("Kestrane.VornDeveloperAtelanAPI.4.2M", AtelanProduct::GetVornAtelanProgID());
}

TEST(ProductCompat, TheControlIdIsSpelledDifferently) {
  EXPECT_EQ("Kestrane.VornEditorsActiveXCtrl.4v2", AtelanProduct::GetVornEditorActiveXCtrlProgID());
}

}  // namespace
