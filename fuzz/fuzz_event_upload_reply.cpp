// Any reply body to an event upload, through the real request, reply path
// and handler.

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/fake/exchange_driver.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // A fresh SDK for every input: nothing one reply stored colours the next.
  vicinix::FakeSdk env;
  vicinix::ExchangeDriver(env).run(vicinix::ExchangeDriver::Exchange::eventUpload,
                                   std::string(reinterpret_cast<const char*>(data), size));
  return 0;
}
