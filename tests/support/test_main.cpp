#include <dlfcn.h>

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    // Mesa's driver is not built with the sanitizers. Keeping it loaded for the life of the
    // process lets LeakSanitizer symbolise what the driver allocated instead of reporting the
    // unloaded module's blocks as leaks, without turning leak detection off.
    for (const char* name : {"swrast_dri.so", "/usr/lib/x86_64-linux-gnu/dri/swrast_dri.so"}) {
        if (dlopen(name, RTLD_NOW | RTLD_GLOBAL | RTLD_NODELETE) != nullptr) {
            break;
        }
    }
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
