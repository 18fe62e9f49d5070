// A theme file is whatever lies on disk: any bytes must load or be refused,
// and every value read from the result must resolve.

#include <vicinix/vicinix_appearance.h>

#include <cstddef>
#include <cstdint>
#include <fstream>

#include "base/property_list.h"
#include "platform/fake/fake_sdk.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static vicinix::FakeSdk* env = new vicinix::FakeSdk();
  (void)env;
  auto parsed =
      vicinix::PropertyList::fromBytes(std::string_view(reinterpret_cast<const char*>(data), size));
  if (parsed) (void)vicinix::PropertyList::toXml(*parsed);

  std::filesystem::create_directories(vicinix::Sdk::current().directories().documents);
  std::ofstream(vicinix::VicinixAppearance::themeFilePath(), std::ios::binary)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  vicinix::VicinixAppearance::reloadTheme();
  (void)vicinix::VicinixAppearance::buttonColor();
  (void)vicinix::VicinixAppearance::textColor();
  (void)vicinix::VicinixAppearance::spacing();
  (void)vicinix::VicinixAppearance::textFontSize();
  return 0;
}
