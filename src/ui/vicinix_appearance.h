#pragma once

#include <vicinix/export.h>

#include <mutex>
#include <optional>
#include <string>
#include <variant>

#include "base/property_list.h"
#include "ui/color.h"
#include "ui/status_bar_style.h"

namespace vicinix {

class Sdk;

// Where every screen takes its colours, sizes and spacing from: a host
// override first, then the backend's theme (kept as Documents/theme.plist),
// then a fixed default. Nothing is cached, so a new theme or override shows
// on the next read.
class VICINIX_EXPORT VicinixAppearance {
 public:
  explicit VicinixAppearance(Sdk& sdk);
  static VicinixAppearance& shared();

  static Color primaryColor();
  static Color backgroundColor();
  static Color titleColor();
  static Color headingColor();
  static Color textColor();
  static Color buttonTextColor();
  static Color buttonColor();
  static double spacing();
  static double titleFontSize();
  static double headingFontSize();
  static double textFontSize();
  static double lineHeight();
  static std::optional<StatusBarStyle> statusBarStyle();

  static void setStatusBarStyle(StatusBarStyle style);
  static void setPrimaryColor(Color color);
  static void setBackgroundColor(Color color);
  static void setTitleColor(Color color);
  static void setHeadingColor(Color color);
  static void setTextColor(Color color);
  static void setButtonTextColor(Color color);
  static void setButtonColor(Color color);
  static void setSpacing(double spacing);
  static void setTitleFontSize(double size);
  static void setHeadingFontSize(double size);
  static void setTextFontSize(double size);
  static void setLineHeight(double lineHeight);

  // Writes `theme` to Documents/theme.plist as XML; the error in words when
  // it cannot be serialised or written.
  static std::optional<std::string> saveTheme(const PlistValue& theme);
  // The stored theme, or the error in words. A file whose top level is not a
  // dictionary gives an empty theme.
  static std::variant<PlistValue::Dictionary, std::string> loadTheme();
  // Loads the stored theme into use; on failure prints the error and keeps
  // the current theme.
  static void reloadTheme();

  static std::string themeFilePath();

 private:
  Color color(const std::optional<Color>& override, const char* key, const Color& fallback);
  double number(const std::optional<double>& override, const char* key, double fallback);

  Sdk& sdk_;
  std::recursive_mutex mutex_;
  std::optional<PlistValue::Dictionary> themeDict_;
  std::optional<StatusBarStyle> statusBarStylePrivate_;
  std::optional<Color> primaryColorPrivate_;
  std::optional<Color> backgroundColorPrivate_;
  std::optional<Color> titleColorPrivate_;
  std::optional<Color> headingColorPrivate_;
  std::optional<Color> textColorPrivate_;
  std::optional<Color> buttonTextColorPrivate_;
  std::optional<Color> buttonColorPrivate_;
  std::optional<double> spacingPrivate_;
  std::optional<double> titleFontSizePrivate_;
  std::optional<double> headingFontSizePrivate_;
  std::optional<double> textFontSizePrivate_;
  std::optional<double> lineHeightPrivate_;
};

}  // namespace vicinix
