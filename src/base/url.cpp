#include "base/url.h"

#include <cctype>

namespace vicinix {
namespace {

bool isHex(char c) {
  return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}

bool isAllowed(char c) {
  if (std::isalnum(static_cast<unsigned char>(c))) return true;
  switch (c) {
    case '-':
    case '.':
    case '_':
    case '~':
    case ':':
    case '/':
    case '?':
    case '#':
    case '[':
    case ']':
    case '@':
    case '!':
    case '$':
    case '&':
    case '\'':
    case '(':
    case ')':
    case '*':
    case '+':
    case ',':
    case ';':
    case '=':
      return true;
    default:
      return false;
  }
}

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  return (std::tolower(static_cast<unsigned char>(c)) - 'a') + 10;
}

std::string percentDecoded(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size() && isHex(text[i + 1]) && isHex(text[i + 2])) {
      out.push_back(static_cast<char>(hexValue(text[i + 1]) * 16 + hexValue(text[i + 2])));
      i += 2;
    } else {
      out.push_back(text[i]);
    }
  }
  return out;
}

}  // namespace

std::optional<Url> Url::parse(std::string_view text) {
  if (text.empty()) return std::nullopt;
  int fragments = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c == '%') {
      if (i + 2 >= text.size() || !isHex(text[i + 1]) || !isHex(text[i + 2])) return std::nullopt;
      continue;
    }
    if (c == '#' && ++fragments > 1) return std::nullopt;
    if (!isAllowed(c)) return std::nullopt;
  }

  Url url;
  url.text_ = std::string(text);
  std::string_view rest = text;
  size_t colon = rest.find(':');
  bool hasScheme = colon != std::string_view::npos && colon > 0 &&
                   std::isalpha(static_cast<unsigned char>(rest[0]));
  for (size_t i = 0; hasScheme && i < colon; ++i) {
    char c = rest[i];
    hasScheme = std::isalnum(static_cast<unsigned char>(c)) || c == '+' || c == '-' || c == '.';
  }
  if (hasScheme) {
    url.scheme_ = std::string(rest.substr(0, colon));
    rest.remove_prefix(colon + 1);
  }
  if (rest.starts_with("//")) {
    rest.remove_prefix(2);
    size_t end = rest.find_first_of("/?#");
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end);
  }
  size_t end = rest.find_first_of("?#");
  url.path_ = std::string(rest.substr(0, end));
  return url;
}

std::string Url::lastPathComponent() const {
  std::string_view path = path_;
  if (path.empty()) return "";
  while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
  if (path == "/") return "/";
  size_t slash = path.rfind('/');
  if (slash != std::string_view::npos) path.remove_prefix(slash + 1);
  return percentDecoded(path);
}

}  // namespace vicinix
