#pragma once

/// @file
/// The theme of the SDK's screens and the host's overrides of it.

#include <vicinix/color.h>
#include <vicinix/export.h>
#include <vicinix/plist_value.h>
#include <vicinix/status_bar_style.h>

#include <mutex>
#include <optional>
#include <string>
#include <variant>

namespace vicinix {

class Sdk;

/// Where every screen takes its colours, sizes and spacing from: a host
/// override (the setters) first, then the backend's theme (kept as
/// Documents/theme.plist), then a fixed default. Nothing is cached, so a new
/// theme or override shows on the next read. Needs an installed context.
class VICINIX_EXPORT VicinixAppearance {
 public:
  /// Made by the SDK context; hosts use the class-level functions.
  explicit VicinixAppearance(Sdk& sdk);
  /// The installed context's appearance.
  static VicinixAppearance& shared();

  /// @name Current values: override, else theme, else default
  /// @{

  static Color primaryColor();      ///< Accent: buttons' outline, the activity indicator.
  static Color backgroundColor();   ///< Behind every screen.
  static Color titleColor();        ///< Campaign titles.
  static Color headingColor();      ///< Headings inside a campaign.
  static Color textColor();         ///< Body text.
  static Color buttonTextColor();   ///< Text on buttons.
  static Color buttonColor();       ///< Buttons' fill.
  static double spacing();          ///< Points between blocks.
  static double titleFontSize();    ///< Points.
  static double headingFontSize();  ///< Points.
  static double textFontSize();     ///< Points.
  static double lineHeight();       ///< A multiple of the font's line.
  static std::optional<StatusBarStyle>
  statusBarStyle();  ///< Nothing when neither host nor theme sets one.
  /// @}

  /// @name Host overrides, taking precedence over the backend's theme
  /// @{
  static void setStatusBarStyle(StatusBarStyle style);  ///< Overrides statusBarStyle().
  static void setPrimaryColor(Color color);             ///< Overrides primaryColor().
  static void setBackgroundColor(Color color);          ///< Overrides backgroundColor().
  static void setTitleColor(Color color);               ///< Overrides titleColor().
  static void setHeadingColor(Color color);             ///< Overrides headingColor().
  static void setTextColor(Color color);                ///< Overrides textColor().
  static void setButtonTextColor(Color color);          ///< Overrides buttonTextColor().
  static void setButtonColor(Color color);              ///< Overrides buttonColor().
  static void setSpacing(double spacing);               ///< Overrides spacing().
  static void setTitleFontSize(double size);            ///< Overrides titleFontSize().
  static void setHeadingFontSize(double size);          ///< Overrides headingFontSize().
  static void setTextFontSize(double size);             ///< Overrides textFontSize().
  static void setLineHeight(double lineHeight);         ///< Overrides lineHeight().
  /// @}

  /// Writes `theme` to Documents/theme.plist as XML; the error in words when
  /// it cannot be serialised or written.
  static std::optional<std::string> saveTheme(const PlistValue& theme);
  /// The stored theme, or the error in words. A file whose top level is not a
  /// dictionary gives an empty theme.
  static std::variant<PlistValue::Dictionary, std::string> loadTheme();
  /// Loads the stored theme into use; on failure prints the error and keeps
  /// the current theme.
  static void reloadTheme();

  /// Documents/theme.plist under the app-data directory.
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
