#include "pemo/ServiceApp.h"

#include <Poco/Exception.h>

#include <iostream>
#include <malloc.h>

int main(int argc, char** argv)
{
    // Request bodies are read into buffers of up to the body bound (a
    // megabyte). glibc raises its mmap threshold the first time it frees
    // such a buffer; from then on they come from the threads' heaps, whose
    // pages stay resident for good. A fixed threshold gives every large
    // buffer back to the kernel as soon as it is freed.
    mallopt(M_MMAP_THRESHOLD, 256 * 1024);
    // glibc gives each thread that allocates under contention a heap of
    // its own (up to eight per core; two on the 32-bit board), and what is
    // freed in one stays resident there, out of reach of the others: a
    // service's workers, each having once served a heavy request (the Wi-Fi
    // manager's lenses), held some 7 MB that way. Its threads mostly wait,
    // so one heap costs little speed and keeps the footprint that of the
    // busiest moment, not of the sum of every worker's.
    mallopt(M_ARENA_MAX, 1);
    try
    {
        pemo::ServiceApp app;
        return app.run(argc, argv);
    }
    catch (const Poco::Exception& e)
    {
        std::cerr << e.displayText() << std::endl;
        return Poco::Util::Application::EXIT_SOFTWARE;
    }
}
