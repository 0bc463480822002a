#include "Mox/Census.h"
#include "Mox/LogEvent.h"
#include "Skimtrace/Skimtrace.h"

#include <gmock/gmock.h>

#include <dlfcn.h>

#include <sstream>

namespace {

std::string dumped() {
    std::ostringstream out;
    Skimtrace::dump(out);
    return out.str();
}

/// Loads the plugin, and with it the library, uses and unloads it.
void loadUseAndUnload() {
    void *const plugin = dlopen(UMO_PLUGIN, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(plugin, nullptr) << dlerror();
    reinterpret_cast<void (*)()>(dlsym(plugin, "useTheLibrary"))();
    EXPECT_FALSE(Skimtrace::points().empty());
    EXPECT_FALSE(Mox::logHandles().empty());
    ASSERT_EQ(dlclose(plugin), 0);
    ASSERT_EQ(dlopen(UMO_PLUGIN, RTLD_NOW | RTLD_NOLOAD), nullptr) << "it is still loaded";
}

} // namespace

TEST(Unloading, LeavesNothingThatPointsIntoTheLibraryAndItsRecordsAsText) {
    Mox::Census::activeIs(true);
    loadUseAndUnload();
    EXPECT_TRUE(Skimtrace::points().empty());
    EXPECT_TRUE(Mox::logHandles().empty());
    for (Mox::Census::Entry const &entry : Mox::Census::live()) { // the process's scheduler
        EXPECT_THAT(entry.name, testing::StartsWith("Vyr::"));
    }
    std::string const once = dumped();
    EXPECT_THAT(once, testing::HasSubstr("feed"));
    loadUseAndUnload();
    EXPECT_TRUE(Skimtrace::points().empty());
    EXPECT_EQ(dumped().rfind(once, 0), 0U);
    EXPECT_GT(dumped().size(), once.size());
}
