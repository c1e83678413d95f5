// CFURL: a URL string (relative ones keep their base URL) and the path work on it.
#include <CoreFoundation/CFURL.h>

#include <unistd.h>

#include <cctype>
#include <cstring>
#include <optional>
#include <string>

#include "cf/Object.h"
#include "cf/String.h"
#include "cf/UrlSyntax.h"

struct __CFURL final : veneer::cf::Object {
  __CFURL(std::string urlString, const __CFURL* baseURL)
      : Object(veneer::cf::kURLTypeId),
        text(std::move(urlString)),
        base(baseURL),
        parts(veneer::cf::SplitUrl(text)),
        string(veneer::cf::CreateString(text)) {
    CFRetain(base);
  }
  ~__CFURL() override {
    CFRelease(string);
    CFRelease(base);
  }

  [[nodiscard]] bool Equal(const Object& other) const override {
    const auto& that = static_cast<const __CFURL&>(other);
    return text == that.text && (base == that.base || CFEqual(base, that.base));
  }
  [[nodiscard]] CFHashCode Hash() const override { return std::hash<std::string>{}(text); }
  [[nodiscard]] std::string Describe() const override {
    return base == nullptr ? text : text + " -- " + base->Describe();
  }

  [[nodiscard]] std::string_view Path() const {
    return std::string_view(text).substr(parts.pathBegin, parts.pathEnd - parts.pathBegin);
  }
  [[nodiscard]] std::string WithPath(std::string_view path) const {
    return text.substr(0, parts.pathBegin) + std::string(path) + text.substr(parts.pathEnd);
  }
  [[nodiscard]] std::string AbsoluteText() const {
    return base == nullptr ? text : veneer::cf::ResolveReference(text, base->AbsoluteText());
  }
  [[nodiscard]] bool IsFileUrl() const {
    return parts.scheme == "file" || (parts.scheme.empty() && base != nullptr && base->IsFileUrl());
  }

  std::string text;
  const __CFURL* base;
  veneer::cf::UrlParts parts;
  CFStringRef string;
};

namespace {

const __CFURL* AsUrl(CFTypeRef ref) { return veneer::cf::Cast<__CFURL>(ref, veneer::cf::kURLTypeId); }

// Decoded path with no trailing slash, except for the root.
std::optional<std::string> FileSystemPath(std::string_view encodedPath) {
  std::optional<std::string> path = veneer::cf::DecodePercent(encodedPath);
  if (path && path->size() > 1 && path->back() == '/') {
    path->pop_back();
  }
  return path;
}

std::string_view LastSegment(std::string_view path) {
  if (path.size() > 1 && path.back() == '/') {
    path.remove_suffix(1);
  }
  const size_t slash = path.rfind('/');
  return slash == std::string_view::npos || path == "/" ? path : path.substr(slash + 1);
}

// Where the extension's dot sits in `segment`, or npos: a leading or final dot starts none.
size_t ExtensionDot(std::string_view segment) {
  const size_t dot = segment.rfind('.');
  return dot == std::string_view::npos || dot == 0 || dot + 1 == segment.size() ? std::string_view::npos : dot;
}

const __CFURL* CurrentDirectoryUrl() {
  char buffer[4096];
  if (getcwd(buffer, sizeof buffer) == nullptr) {
    return nullptr;
  }
  std::string path = buffer;
  if (path.back() != '/') {
    path += '/';
  }
  return new __CFURL("file://" + veneer::cf::EncodePath(path), nullptr);
}

// From a POSIX path in UTF-8: an absolute file URL, or one relative to the current directory.
CFURLRef CreateFromPosixPath(std::string path, bool isDirectory) {
  if (path.empty()) {
    return nullptr;
  }
  if (isDirectory && path.back() != '/') {
    path += '/';
  } else if (!isDirectory) {
    while (path.size() > 1 && path.back() == '/') {
      path.pop_back();
    }
  }
  if (path.front() == '/') {
    return new __CFURL("file://" + veneer::cf::EncodePath(path), nullptr);
  }
  std::string encoded = veneer::cf::EncodePath(path);
  // A colon in the first segment would read as a scheme.
  if (encoded.find(':') < encoded.find('/')) {
    encoded.insert(0, "./");
  }
  const __CFURL* base = CurrentDirectoryUrl();
  auto* url = new __CFURL(std::move(encoded), base);
  CFRelease(base);
  return url;
}

// "C:\a\b" becomes "/C:/a/b"; "\a" becomes "/a".
std::string PosixFromWindows(std::string path) {
  for (char& c : path) {
    c = c == '\\' ? '/' : c;
  }
  if (path.size() >= 2 && path[1] == ':' && std::isalpha(static_cast<unsigned char>(path[0])) != 0) {
    path.insert(0, "/");
  }
  return path;
}

std::string WindowsFromPosix(std::string path) {
  if (path.size() >= 3 && path[0] == '/' && path[2] == ':') {
    path.erase(0, 1);
  }
  for (char& c : path) {
    c = c == '/' ? '\\' : c;
  }
  return path;
}

CFStringRef CreateCFString(const std::string& text) { return veneer::cf::CreateString(text); }

}  // namespace

extern "C" {

CFTypeID CFURLGetTypeID(void) { return veneer::cf::kURLTypeId; }

CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef, CFStringRef filePath, CFURLPathStyle pathStyle,
                                       Boolean isDirectory) {
  const __CFString* path = veneer::cf::AsString(filePath);
  if (path == nullptr) {
    return nullptr;
  }
  if (pathStyle == kCFURLPOSIXPathStyle) {
    return CreateFromPosixPath(path->utf8, isDirectory != 0);
  }
  if (pathStyle == kCFURLWindowsPathStyle) {
    return CreateFromPosixPath(PosixFromWindows(path->utf8), isDirectory != 0);
  }
  return nullptr;
}

CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef, const UInt8* buffer, CFIndex bufLen,
                                                 Boolean isDirectory) {
  std::string path;
  if (buffer == nullptr || bufLen < 0 ||
      !veneer::cf::DecodeBytes(buffer, bufLen, kCFStringEncodingUTF8, false, &path)) {
    return nullptr;
  }
  return CreateFromPosixPath(std::move(path), isDirectory != 0);
}

CFURLRef CFURLCreateWithString(CFAllocatorRef, CFStringRef URLString, CFURLRef baseURL) {
  const __CFString* text = veneer::cf::AsString(URLString);
  if (text == nullptr || !veneer::cf::IsValidUrlString(text->utf8)) {
    return nullptr;
  }
  // An absolute URL needs no base.
  const __CFURL* base = veneer::cf::SplitUrl(text->utf8).scheme.empty() ? AsUrl(baseURL) : nullptr;
  return new __CFURL(text->utf8, base);
}

CFURLRef CFURLCopyAbsoluteURL(CFURLRef relativeURL) {
  const __CFURL* url = AsUrl(relativeURL);
  if (url == nullptr) {
    return nullptr;
  }
  if (url->base == nullptr) {
    return static_cast<CFURLRef>(CFRetain(url));
  }
  return new __CFURL(url->AbsoluteText(), nullptr);
}

CFStringRef CFURLGetString(CFURLRef anURL) {
  const __CFURL* url = AsUrl(anURL);
  return url == nullptr ? nullptr : url->string;
}

CFURLRef CFURLGetBaseURL(CFURLRef anURL) {
  const __CFURL* url = AsUrl(anURL);
  return url == nullptr ? nullptr : url->base;
}

CFStringRef CFURLCopyFileSystemPath(CFURLRef anURL, CFURLPathStyle pathStyle) {
  const __CFURL* url = AsUrl(anURL);
  if (url == nullptr || (pathStyle != kCFURLPOSIXPathStyle && pathStyle != kCFURLWindowsPathStyle)) {
    return nullptr;
  }
  std::optional<std::string> path = FileSystemPath(url->Path());
  if (!path) {
    return nullptr;
  }
  return CreateCFString(pathStyle == kCFURLWindowsPathStyle ? WindowsFromPosix(*path) : *path);
}

Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase, UInt8* buffer, CFIndex maxBufLen) {
  const __CFURL* u = AsUrl(url);
  if (u == nullptr || buffer == nullptr || maxBufLen <= 0 || !u->IsFileUrl()) {
    return false;
  }
  std::optional<std::string> path;
  if (resolveAgainstBase && u->base != nullptr) {
    const std::string absolute = u->AbsoluteText();
    const veneer::cf::UrlParts parts = veneer::cf::SplitUrl(absolute);
    path = FileSystemPath(std::string_view(absolute).substr(parts.pathBegin, parts.pathEnd - parts.pathBegin));
  } else {
    path = FileSystemPath(u->Path());
  }
  if (!path || static_cast<CFIndex>(path->size()) + 1 > maxBufLen) {
    return false;
  }
  std::memcpy(buffer, path->c_str(), path->size() + 1);
  return true;
}

Boolean CFURLHasDirectoryPath(CFURLRef anURL) {
  const __CFURL* url = AsUrl(anURL);
  return url != nullptr && !url->Path().empty() && url->Path().back() == '/';
}

CFStringRef CFURLCopyLastPathComponent(CFURLRef url) {
  const __CFURL* u = AsUrl(url);
  if (u == nullptr) {
    return nullptr;
  }
  const std::optional<std::string> segment = veneer::cf::DecodePercent(LastSegment(u->Path()));
  return segment ? CreateCFString(*segment) : nullptr;
}

CFStringRef CFURLCopyPathExtension(CFURLRef url) {
  const __CFURL* u = AsUrl(url);
  if (u == nullptr) {
    return nullptr;
  }
  const std::string_view segment = LastSegment(u->Path());
  const size_t dot = ExtensionDot(segment);
  if (dot == std::string_view::npos) {
    return nullptr;
  }
  const std::optional<std::string> extension = veneer::cf::DecodePercent(segment.substr(dot + 1));
  return extension ? CreateCFString(*extension) : nullptr;
}

CFURLRef CFURLCreateCopyAppendingPathComponent(CFAllocatorRef, CFURLRef url, CFStringRef pathComponent,
                                               Boolean isDirectory) {
  const __CFURL* u = AsUrl(url);
  const __CFString* component = veneer::cf::AsString(pathComponent);
  if (u == nullptr || component == nullptr) {
    return nullptr;
  }
  std::string path(u->Path());
  if (!path.empty() && path.back() != '/') {
    path += '/';
  }
  path += veneer::cf::EncodePath(component->utf8);
  if (isDirectory && path.back() != '/') {
    path += '/';
  }
  return new __CFURL(u->WithPath(path), u->base);
}

CFURLRef CFURLCreateCopyDeletingLastPathComponent(CFAllocatorRef, CFURLRef url) {
  const __CFURL* u = AsUrl(url);
  if (u == nullptr) {
    return nullptr;
  }
  std::string_view path = u->Path();
  std::string result;
  if (path.empty()) {
    result = "../";
  } else if (path == "/") {
    result = "/../";  // the root has no parent to name, as on the platform
  } else {
    if (path.back() == '/') {
      path.remove_suffix(1);
    }
    const size_t slash = path.rfind('/');
    const std::string_view last = slash == std::string_view::npos ? path : path.substr(slash + 1);
    if (last == "..") {
      result = std::string(path) + "/../";
    } else if (slash == std::string_view::npos) {
      result = "./";
    } else {
      result = std::string(path.substr(0, slash + 1));
    }
  }
  return new __CFURL(u->WithPath(result), u->base);
}

CFURLRef CFURLCreateCopyAppendingPathExtension(CFAllocatorRef, CFURLRef url, CFStringRef extension) {
  const __CFURL* u = AsUrl(url);
  const __CFString* ext = veneer::cf::AsString(extension);
  if (u == nullptr || ext == nullptr) {
    return nullptr;
  }
  std::string path(u->Path());
  const bool directory = !path.empty() && path.back() == '/';
  if (directory) {
    path.pop_back();
  }
  if (path.empty() || path.back() == '/') {
    return nullptr;  // no last component to extend
  }
  path += "." + veneer::cf::EncodePath(ext->utf8) + (directory ? "/" : "");
  return new __CFURL(u->WithPath(path), u->base);
}

CFURLRef CFURLCreateCopyDeletingPathExtension(CFAllocatorRef, CFURLRef url) {
  const __CFURL* u = AsUrl(url);
  if (u == nullptr) {
    return nullptr;
  }
  std::string path(u->Path());
  const bool directory = path.size() > 1 && path.back() == '/';
  if (directory) {
    path.pop_back();
  }
  const size_t slash = path.rfind('/');
  const size_t segmentStart = slash == std::string::npos ? 0 : slash + 1;
  const size_t dot = ExtensionDot(std::string_view(path).substr(segmentStart));
  if (dot != std::string_view::npos) {
    path.erase(segmentStart + dot);
  }
  if (directory) {
    path += '/';
  }
  return new __CFURL(u->WithPath(path), u->base);
}

}  // extern "C"
