// Backend replies of any shape go through the lenient reader and every
// handler that reads them: configuration, required version, upload result.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "core/json_value.h"
#include "core/vicinix_configurator.h"
#include "platform/fake/fake_sdk.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static vicinix::FakeSdk* env = new vicinix::FakeSdk();
  (void)env;
  auto reply =
      vicinix::JsonValue::parse(std::string_view(reinterpret_cast<const char*>(data), size));
  vicinix::VicinixConfigurator::parseAppConfiguration(reply);
  vicinix::VicinixConfigurator::parseSdkConfiguration(reply);
  (void)reply["data"]["sdkCreateLog"].isString();
  for (const auto& item : reply.array()) (void)item.int64();
  return 0;
}
