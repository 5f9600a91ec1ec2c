// The library loaded by hand, as plug-ins and other languages do.
#include <string>

#include <dlfcn.h>

#include "support/adapter.hpp"

namespace {

TEST_F(Adapter, UnloadingTheLibraryLeavesAnOpenSessionAlive)
{
    void* const library = dlopen(TARVIX_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    const auto function = [&]<typename Function>(Function*, const char* name) {
        return reinterpret_cast<Function*>(dlsym(library, name));
    };
#define LOADED(name) const auto name = function(static_cast<decltype(::name)*>(nullptr), #name)
    LOADED(TarvixSDK_Create);
    LOADED(TarvixSDK_Open);
    LOADED(TarvixSDK_UartDeinit);
    LOADED(TarvixSDK_Destroy);
    TarvixSDK_Handle* const handle = TarvixSDK_Create(LONG_ENOUGH);
    ASSERT_EQ(TarvixSDK_Open(handle, nullptr, nullptr, 0, nullptr), OpenStatus::OPENED);
    ASSERT_TRUE(device->settle());
    EXPECT_EQ(dlclose(library), 0);
    answer("00 00");
    EXPECT_EQ(TarvixSDK_UartDeinit(handle), StatusCode::SUCCESS);
    TarvixSDK_Destroy(handle);
    EXPECT_EQ(device->closes(), 1);
}

} // namespace
