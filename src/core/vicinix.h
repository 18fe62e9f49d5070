#pragma once

#include <filesystem>
#include <string_view>

namespace vicinix {

// The host's entry point to the SDK. Everything is class-level and acts on the
// installed context.
class Vicinix {
 public:
  static constexpr const char* firstStartDefaultsKey = "VicinixFirstStartDefaultsKey";
  static constexpr const char* lastSDKVersionDefaultsKey = "VicinixLastSDKVersionDefaultsKey";

  // Turns the SDK's diagnostic lines on standard output on or off.
  static void setDebugging(bool debugging);
  static bool isDebugging();
  // Prints `line` while debugging is on.
  static void debug(std::string_view line);

  static std::filesystem::path documentsDirectoryURL();
  static std::filesystem::path vicinixDirectoryURL();
};

}  // namespace vicinix
