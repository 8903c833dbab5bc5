// A second host process for the machine-lock tests. It starts the library on its own device,
// writes the file named second once the start has returned, and holds the headset until a line
// comes on its input: "stop" removes its client, which stops everything, and exits with 0 when
// nothing runs any more; anything else, or the input's end, ends the process at once, letting
// nothing go, as a crash would.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>

#include "GB/Device.h"
#include "host_library.h"

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s <libstereon.so> <ready-file>\n", argv[0]);
        return 2;
    }
    setenv("EGL_PLATFORM", "surfaceless", 0);
    setenv("LP_NUM_THREADS", "1", 0);
    stntest::HostLibrary library;
    if (!library.Load(argv[1])) {
        std::cout << "failed " << library.error << std::endl;
        return 1;
    }
    std::string reason;
    boost::shared_ptr<GB::Device> device =
        GB::Device::Create(GB::kDeviceKind_OpenCLNoSharing, &reason);
    boost::shared_ptr<STN::IStereonService> service = library.getService();
    if (!device || !service->Init(device)) {
        std::cout << "failed " << reason << std::endl;
        return 1;
    }
    service->AddClient(7);
    std::ofstream(argv[2]) << "started\n";
    std::string command;
    std::getline(std::cin, command);
    if (command != "stop") {
        std::_Exit(3);
    }
    service->RemoveClient(7);
    return service->IsInitialized() ? 1 : 0;
}
