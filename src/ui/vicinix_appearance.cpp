#include <vicinix/vicinix_appearance.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "base/atomic_file.h"
#include "base/property_list.h"
#include "base/sdk.h"

namespace vicinix {
namespace {

constexpr char kThemeFileName[] = "theme.plist";

VicinixAppearance& instance() {
  return VicinixAppearance::shared();
}

}  // namespace

VicinixAppearance::VicinixAppearance(Sdk& sdk) : sdk_(sdk) {
  // A theme saved in an earlier run is in force from the first screen on.
  auto loaded = loadTheme();
  if (auto* theme = std::get_if<PlistValue::Dictionary>(&loaded)) {
    themeDict_ = std::move(*theme);
  } else {
    sdk_.log().debugLine(std::get<std::string>(loaded));
  }
}

VicinixAppearance& VicinixAppearance::shared() {
  return Sdk::current().shared<VicinixAppearance>();
}

std::string VicinixAppearance::themeFilePath() {
  return (Sdk::current().directories().documents / kThemeFileName).string();
}

std::optional<std::string> VicinixAppearance::saveTheme(const PlistValue& theme) {
  auto xml = PropertyList::toXml(theme);
  if (!xml) return std::string("The theme couldn’t be written as a property list.");
  // Atomic, so a crash mid-write leaves the previous theme in force.
  if (writeFileAtomically(themeFilePath(), *xml)) return std::nullopt;
  return "The file “" + std::string(kThemeFileName) +
         "” couldn’t be saved: " + std::strerror(errno);
}

std::variant<PlistValue::Dictionary, std::string> VicinixAppearance::loadTheme() {
  std::string path = themeFilePath();
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    return "The file “" + std::string(kThemeFileName) +
           "” couldn’t be opened because there is no such file.";
  }
  std::ostringstream bytes;
  bytes << file.rdbuf();
  auto parsed = PropertyList::fromBytes(bytes.str());
  if (!parsed) {
    return "The data couldn’t be read because it isn’t in the correct format.";
  }
  if (auto* dictionary = parsed->get<PlistValue::Dictionary>()) return *dictionary;
  return PlistValue::Dictionary{};
}

void VicinixAppearance::reloadTheme() {
  VicinixAppearance& self = instance();
  auto loaded = loadTheme();
  if (auto* theme = std::get_if<PlistValue::Dictionary>(&loaded)) {
    std::lock_guard lock(self.mutex_);
    self.themeDict_ = std::move(*theme);
  } else {
    self.sdk_.log().debugLine(std::get<std::string>(loaded));
  }
}

Color VicinixAppearance::color(const std::optional<Color>& override, const char* key,
                               const Color& fallback) {
  std::lock_guard lock(mutex_);
  if (override) return *override;
  if (!themeDict_ || themeDict_->empty()) return fallback;
  auto found = themeDict_->find(key);
  if (found == themeDict_->end()) return fallback;
  const auto* text = found->second.get<std::string>();
  // A malformed colour is gray, not the default: only a missing or
  // non-string value falls back.
  return text ? Color::fromHexString(*text) : fallback;
}

double VicinixAppearance::number(const std::optional<double>& override, const char* key,
                                 double fallback) {
  std::lock_guard lock(mutex_);
  if (override) return *override;
  if (!themeDict_ || themeDict_->empty()) return fallback;
  auto found = themeDict_->find(key);
  if (found == themeDict_->end()) return fallback;
  if (const auto* real = found->second.get<double>()) return *real;
  if (const auto* integer = found->second.get<int64_t>()) return static_cast<double>(*integer);
  return fallback;
}

Color VicinixAppearance::primaryColor() {
  auto& self = instance();
  return self.color(self.primaryColorPrivate_, "primaryColor", Color::fromHexString("#218DEA"));
}

Color VicinixAppearance::backgroundColor() {
  auto& self = instance();
  return self.color(self.backgroundColorPrivate_, "backgroundColor",
                    Color::fromHexString("#F8FBFE"));
}

Color VicinixAppearance::titleColor() {
  auto& self = instance();
  return self.color(self.titleColorPrivate_, "titleColor", Color::fromHexString("#2a2f40"));
}

Color VicinixAppearance::headingColor() {
  auto& self = instance();
  return self.color(self.headingColorPrivate_, "headingColor", Color::fromHexString("#2a2f40"));
}

// "#000" has three digits, so the default text colour is gray on purpose.
Color VicinixAppearance::textColor() {
  auto& self = instance();
  return self.color(self.textColorPrivate_, "textColor", Color::fromHexString("#000"));
}

Color VicinixAppearance::buttonTextColor() {
  auto& self = instance();
  return self.color(self.buttonTextColorPrivate_, "buttonTextColor",
                    Color::fromHexString("#F8FBFE"));
}

// The theme names the button colour "buttonBackground".
Color VicinixAppearance::buttonColor() {
  auto& self = instance();
  return self.color(self.buttonColorPrivate_, "buttonBackground", primaryColor());
}

double VicinixAppearance::spacing() {
  auto& self = instance();
  return self.number(self.spacingPrivate_, "spacing", 16.0);
}

double VicinixAppearance::titleFontSize() {
  auto& self = instance();
  return self.number(self.titleFontSizePrivate_, "titleFontSize", 24.0);
}

double VicinixAppearance::headingFontSize() {
  auto& self = instance();
  return self.number(self.headingFontSizePrivate_, "headingFontSize", 18.0);
}

// The theme names the body text size "fontSize".
double VicinixAppearance::textFontSize() {
  auto& self = instance();
  return self.number(self.textFontSizePrivate_, "fontSize", 14.0);
}

double VicinixAppearance::lineHeight() {
  auto& self = instance();
  return self.number(self.lineHeightPrivate_, "lineHeight", 5.0);
}

std::optional<StatusBarStyle> VicinixAppearance::statusBarStyle() {
  auto& self = instance();
  std::lock_guard lock(self.mutex_);
  return self.statusBarStylePrivate_;
}

#define VICINIX_OVERRIDE_SETTER(name, type, field) \
  void VicinixAppearance::name(type value) {       \
    auto& self = instance();                       \
    std::lock_guard lock(self.mutex_);             \
    self.field = value;                            \
  }

VICINIX_OVERRIDE_SETTER(setStatusBarStyle, StatusBarStyle, statusBarStylePrivate_)
VICINIX_OVERRIDE_SETTER(setPrimaryColor, Color, primaryColorPrivate_)
VICINIX_OVERRIDE_SETTER(setBackgroundColor, Color, backgroundColorPrivate_)
VICINIX_OVERRIDE_SETTER(setTitleColor, Color, titleColorPrivate_)
VICINIX_OVERRIDE_SETTER(setHeadingColor, Color, headingColorPrivate_)
VICINIX_OVERRIDE_SETTER(setTextColor, Color, textColorPrivate_)
VICINIX_OVERRIDE_SETTER(setButtonTextColor, Color, buttonTextColorPrivate_)
VICINIX_OVERRIDE_SETTER(setButtonColor, Color, buttonColorPrivate_)
VICINIX_OVERRIDE_SETTER(setSpacing, double, spacingPrivate_)
VICINIX_OVERRIDE_SETTER(setTitleFontSize, double, titleFontSizePrivate_)
VICINIX_OVERRIDE_SETTER(setHeadingFontSize, double, headingFontSizePrivate_)
VICINIX_OVERRIDE_SETTER(setTextFontSize, double, textFontSizePrivate_)
VICINIX_OVERRIDE_SETTER(setLineHeight, double, lineHeightPrivate_)

#undef VICINIX_OVERRIDE_SETTER

}  // namespace vicinix
