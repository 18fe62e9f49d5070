// Campaign objects of any shape go through the import, the block import and
// the picture cache. Whatever they name, nothing may be written outside the
// SDK's own directories under the app-data directory.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string_view>

#include "data/model/campaign_factory.h"
#include "platform/fake/fake_sdk.h"

namespace {

namespace fs = std::filesystem;

// Every path under `root`, so a new one anywhere shows.
std::set<fs::path> listing(const fs::path& root) {
  std::set<fs::path> paths;
  std::error_code ignored;
  for (auto it = fs::recursive_directory_iterator(root, ignored);
       it != fs::recursive_directory_iterator(); it.increment(ignored)) {
    paths.insert(it->path());
  }
  return paths;
}

bool allowed(const fs::path& path, const fs::path& appData) {
  fs::path images = appData / "Library" / "Vicinix" / "Images";
  if (path.parent_path() == images) return true;
  auto relative = path.lexically_relative(appData).string();
  return relative.rfind("Library/Vicinix/Realm", 0) == 0 || relative == "Library" ||
         relative == "Library/Vicinix" || relative == "Library/Vicinix/Images";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static vicinix::FakeSdk* env = [] {
    auto* sdk = new vicinix::FakeSdk();
    auto picture = vicinix::FakeImageCodec::pictureBytes(1, 1);
    sdk->http->replyWith(std::string(picture.begin(), picture.end()));
    return sdk;
  }();
  auto json =
      vicinix::JsonValue::parse(std::string_view(reinterpret_cast<const char*>(data), size));
  auto& factory = vicinix::CampaignFactory::shared();
  factory.parse(json);
  for (const auto& item : json.array()) factory.parse(item);
  env->time->runAll();

  fs::path parent = env->appData().parent_path();
  for (const fs::path& path : listing(env->appData())) {
    if (!allowed(path, env->appData())) {
      std::fprintf(stderr, "written outside the SDK's directories: %s\n", path.c_str());
      std::abort();
    }
  }
  // Names like "../x" would land beside the app-data directory.
  for (const char* escape : {"x_list.jpg", "x_notification.jpg", "x_attribute.jpg"}) {
    if (fs::exists(parent / escape)) std::abort();
  }
  return 0;
}
