#pragma once

#include "Http.h"
#include "SimDevice.h"

namespace pemo::test {

// The default device (config/device.json, no overlays), started on first
// use and shared by every test of one test program, then stopped when the
// program's tests are done. A failed start is remembered and reported to
// every later caller instead of being retried.
SimDevice& sharedDevice();

// A client of the shared device with its token, and one without any.
ApiClient sharedApi();
ApiClient sharedApiWithoutToken();

} // namespace pemo::test
