#include <tvk/process/ModuleRegistry.h>

#include <dlfcn.h>

#include <tvk/process/Platform.h>

#include "support/Support.h"

TEST(ModuleRegistry, ListsInLoadOrderAndFindsASymbolOnlyInItsOwnModule) {
  void* const handle = dlopen(TVK_OUTER_MODULE, RTLD_LAZY | RTLD_LOCAL);
  ASSERT_NE(dlsym(handle, "GetStrings"), nullptr) << "the loader does look into dependencies";
  std::vector<tvk::LoadedModule> modules = tvk::LoadedModules();
  EXPECT_EQ(modules.at(0).Path(), "") << "the main program comes first";
  EXPECT_EQ(modules[0].Symbol("malloc"), modules[0].Symbol(nullptr));
  std::size_t outer = 1;
  while (modules.at(outer).Path() != TVK_OUTER_MODULE) ++outer;
  std::size_t inner = outer + 1;
  while (modules.at(inner).Path() != TVK_WORDS_LIBRARY) ++inner;
  EXPECT_EQ(modules[outer].Symbol("GetStrings"), nullptr);
  EXPECT_NE(modules[inner].Symbol("GetStrings"), nullptr);
  EXPECT_NE(modules[outer].Symbol("InBoth"), modules[inner].Symbol("InBoth"));

  dlclose(handle);
  tvk::LoadedModule kept = std::move(modules[outer]);
  modules.erase(modules.begin() + 1, modules.end());
  EXPECT_NE(kept.Symbol("InBoth"), nullptr) << "kept loaded by the reference";
  kept = std::move(modules[0]);
  EXPECT_EQ(tvk::platform::openIfLoaded(TVK_OUTER_MODULE), nullptr) << "the reference was given back";
}
