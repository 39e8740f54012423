#include <tvk/process/ModuleRegistry.h>

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using tvk::LoadedModule;

bool isLoaded(const char* path) {
  void* const handle = dlopen(path, RTLD_LAZY | RTLD_NOLOAD);
  if (handle != nullptr) dlclose(handle);
  return handle != nullptr;
}

std::vector<LoadedModule>::iterator find(std::vector<LoadedModule>& modules, const char* path) {
  return std::find_if(modules.begin(), modules.end(),
                      [&](const LoadedModule& m) { return m.Path() == path; });
}

TEST(ModuleRegistry, ListsInLoadOrderAndFindsASymbolOnlyInItsOwnModule) {
  void* const handle = dlopen(TVK_OUTER_MODULE, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(handle, nullptr) << dlerror();
  ASSERT_NE(dlsym(handle, "OnlyInInner"), nullptr) << "the loader does look into dependencies";

  std::vector<LoadedModule> modules = tvk::LoadedModules();
  ASSERT_FALSE(modules.empty());
  EXPECT_EQ(modules.front().Path(), "") << "the main program comes first";
  EXPECT_EQ(modules.front().Symbol("malloc"), nullptr);
  EXPECT_EQ(modules.front().Symbol(nullptr), nullptr);
  const auto outer = find(modules, TVK_OUTER_MODULE);
  const auto inner = find(modules, TVK_INNER_MODULE);
  ASSERT_TRUE(outer != modules.end() && inner != modules.end());
  EXPECT_LT(outer, inner);
  EXPECT_EQ(outer->Symbol("OnlyInInner"), nullptr);
  EXPECT_NE(inner->Symbol("OnlyInInner"), nullptr);
  EXPECT_NE(outer->Symbol("InBoth"), inner->Symbol("InBoth"));
  EXPECT_NE(outer->Symbol("InBoth"), nullptr);

  dlclose(handle);
  LoadedModule kept = std::move(*outer);
  modules.clear();
  EXPECT_NE(kept.Symbol("InBoth"), nullptr) << "kept loaded by the reference";
  kept = std::move(tvk::LoadedModules().front());
  EXPECT_FALSE(isLoaded(TVK_OUTER_MODULE)) << "the reference was given back";
}

}  // namespace
