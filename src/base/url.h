#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vicinix {

// The little URL handling the SDK needs: whether a text is a URL at all, and
// the last component of its path.
class Url {
 public:
  // Nothing when `text` is not a URL: empty, or holding characters a URL may
  // not contain (blanks, quotes, angle brackets, non-ASCII, a stray '%').
  static std::optional<Url> parse(std::string_view text);

  // The path's last component, percent-decoded: "a.png" for
  // "https://h/x/a.png?v=1", "/" for "https://h/", "" for "https://h".
  std::string lastPathComponent() const;
  const std::string& text() const { return text_; }
  const std::string& scheme() const { return scheme_; }
  const std::string& path() const { return path_; }

 private:
  std::string text_;
  std::string scheme_;
  std::string path_;
};

}  // namespace vicinix
