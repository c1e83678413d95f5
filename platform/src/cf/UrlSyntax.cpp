#include "cf/UrlSyntax.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <vector>

#include "cf/Unicode.h"

namespace veneer::cf {
namespace {

bool IsUnreserved(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || std::strchr("-._~", c) != nullptr;
}

int HexValue(char c) {
  if (c >= '0' && c <= '9') {
    return c - '0';
  }
  if (c >= 'a' && c <= 'f') {
    return c - 'a' + 10;
  }
  if (c >= 'A' && c <= 'F') {
    return c - 'A' + 10;
  }
  return -1;
}

std::string RemoveDotSegments(std::string_view path) {
  std::vector<std::string_view> out;
  const bool absolute = !path.empty() && path.front() == '/';
  bool trailingSlash = false;
  size_t pos = absolute ? 1 : 0;
  while (pos <= path.size()) {
    const size_t end = std::min(path.find('/', pos), path.size());
    const std::string_view segment = path.substr(pos, end - pos);
    const bool last = end == path.size();
    trailingSlash = last && (segment == "." || segment == "..");
    if (segment == "..") {
      if (!out.empty()) {
        out.pop_back();
      }
    } else if (segment != ".") {
      out.push_back(segment);
    }
    pos = end + 1;
  }
  std::string result = absolute ? "/" : "";
  for (size_t i = 0; i < out.size(); ++i) {
    result.append(out[i]);
    if (i + 1 < out.size()) {
      result += '/';
    }
  }
  if (trailingSlash && (result.empty() || result.back() != '/')) {
    result += '/';
  }
  return result;
}

}  // namespace

UrlParts SplitUrl(std::string_view url) {
  UrlParts parts;
  size_t pos = 0;
  const size_t colon = url.find(':');
  if (colon != std::string_view::npos && colon > 0 && std::isalpha(static_cast<unsigned char>(url[0])) != 0 &&
      url.find_first_of("/?#") > colon) {
    bool schemeChars = true;
    for (size_t i = 1; i < colon; ++i) {
      schemeChars = schemeChars &&
                    (std::isalnum(static_cast<unsigned char>(url[i])) != 0 || std::strchr("+-.", url[i]) != nullptr);
    }
    if (schemeChars) {
      for (size_t i = 0; i < colon; ++i) {
        parts.scheme += static_cast<char>(std::tolower(static_cast<unsigned char>(url[i])));
      }
      pos = colon + 1;
    }
  }
  if (url.substr(pos, 2) == "//") {
    pos = std::min(url.find_first_of("/?#", pos + 2), url.size());
  }
  parts.pathBegin = pos;
  parts.pathEnd = std::min(url.find_first_of("?#", pos), url.size());
  return parts;
}

bool IsValidUrlString(std::string_view url) {
  for (size_t i = 0; i < url.size(); ++i) {
    const char c = url[i];
    if (c == '%') {
      if (i + 2 >= url.size() || HexValue(url[i + 1]) < 0 || HexValue(url[i + 2]) < 0) {
        return false;
      }
      i += 2;
    } else if (!IsUnreserved(c) && std::strchr(":/?#[]@!$&'()*+,;=", c) == nullptr) {
      return false;
    }
  }
  return true;
}

std::string EncodePath(std::string_view utf8) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string out;
  for (const char c : utf8) {
    if (c != '\0' && (IsUnreserved(c) || std::strchr("!$&'()*+,=:@/", c) != nullptr)) {
      out += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      out += '%';
      out += kHex[byte >> 4];
      out += kHex[byte & 0xF];
    }
  }
  return out;
}

std::optional<std::string> DecodePercent(std::string_view text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      out += text[i];
      continue;
    }
    if (i + 2 >= text.size()) {
      return std::nullopt;
    }
    const int high = HexValue(text[i + 1]);
    const int low = HexValue(text[i + 2]);
    if (high < 0 || low < 0) {
      return std::nullopt;
    }
    out += static_cast<char>(high * 16 + low);
    i += 2;
  }
  if (!IsValidUtf8(out)) {
    return std::nullopt;
  }
  return out;
}

std::string ResolveReference(std::string_view reference, std::string_view absoluteBase) {
  const UrlParts ref = SplitUrl(reference);
  if (!ref.scheme.empty()) {
    return std::string(reference);
  }
  const UrlParts base = SplitUrl(absoluteBase);
  const std::string_view schemePart = absoluteBase.substr(0, base.scheme.size() + 1);
  if (reference.substr(0, 2) == "//") {
    return std::string(schemePart) + std::string(reference);
  }
  const std::string_view authority = absoluteBase.substr(0, base.pathBegin);
  const std::string_view refPath = reference.substr(ref.pathBegin, ref.pathEnd - ref.pathBegin);
  const std::string_view refTail = reference.substr(ref.pathEnd);
  const std::string_view basePath = absoluteBase.substr(base.pathBegin, base.pathEnd - base.pathBegin);
  if (refPath.empty()) {
    const std::string_view tail = refTail.empty() ? absoluteBase.substr(base.pathEnd) : refTail;
    return std::string(authority) + std::string(basePath) + std::string(tail);
  }
  std::string merged;
  if (refPath.front() == '/') {
    merged = refPath;
  } else {
    const size_t slash = basePath.rfind('/');
    merged = std::string(slash == std::string_view::npos ? "/" : basePath.substr(0, slash + 1));
    merged += refPath;
  }
  return std::string(authority) + RemoveDotSegments(merged) + std::string(refTail);
}

}  // namespace veneer::cf
