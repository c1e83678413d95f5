// URL string syntax: splitting, percent-encoding and reference resolution.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace veneer::cf {

struct UrlParts {
  std::string scheme;  // lower case; empty for a relative reference
  size_t pathBegin = 0;
  size_t pathEnd = 0;  // the query and fragment follow
};

UrlParts SplitUrl(std::string_view url);

// True when every character may appear in a URL and every '%' starts an escape.
bool IsValidUrlString(std::string_view url);

// Escapes everything a path may not hold literally ('/' stays).
std::string EncodePath(std::string_view utf8);

// Undoes %XX escapes; nullopt for a broken escape or a result that is not UTF-8.
std::optional<std::string> DecodePercent(std::string_view text);

// Resolves `reference` against an absolute URL string.
std::string ResolveReference(std::string_view reference, std::string_view absoluteBase);

}  // namespace veneer::cf
