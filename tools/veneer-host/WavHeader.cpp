#include "WavHeader.h"

#include <cstdint>
#include <fstream>

namespace host {
namespace {

std::uint32_t Little32(const unsigned char* bytes) {
  return std::uint32_t{bytes[0]} | std::uint32_t{bytes[1]} << 8U | std::uint32_t{bytes[2]} << 16U |
         std::uint32_t{bytes[3]} << 24U;
}

bool ChunkId(const unsigned char* bytes) {
  for (int i = 0; i < 4; ++i) {
    if (bytes[i] < 0x20 || bytes[i] > 0x7E) {
      return false;
    }
  }
  return true;
}

}  // namespace

std::optional<std::string> WavHeaderMismatch(const std::string& path, std::size_t framesRead) {
  std::ifstream file(path, std::ios::binary);
  unsigned char riff[12] = {};
  if (!file.read(reinterpret_cast<char*>(riff), sizeof riff) || std::string(riff, riff + 4) != "RIFF" ||
      std::string(riff + 8, riff + 12) != "WAVE") {
    return std::nullopt;
  }
  file.seekg(0, std::ios::end);
  const auto fileSize = static_cast<std::uint64_t>(file.tellg());
  std::uint64_t position = sizeof riff;
  std::uint32_t blockAlign = 0;
  while (position + 8 <= fileSize) {
    unsigned char header[8] = {};
    file.seekg(static_cast<std::streamoff>(position));
    if (!file.read(reinterpret_cast<char*>(header), sizeof header)) {
      return std::nullopt;
    }
    const std::string id(header, header + 4);
    const std::uint32_t size = Little32(header + 4);
    if (id == "fmt " && size >= 14) {
      unsigned char format[14] = {};
      file.read(reinterpret_cast<char*>(format), sizeof format);
      blockAlign = std::uint32_t{format[12]} | std::uint32_t{format[13]} << 8U;
    }
    if (id != "data") {
      position += 8 + size + (size & 1U);
      continue;
    }
    if (blockAlign == 0) {
      return std::nullopt;
    }
    const std::uint64_t start = position + 8;
    const std::uint64_t held = fileSize - start;
    const std::uint64_t claimedFrames = size / blockAlign;
    if (size > held) {
      return "the header claims " + std::to_string(claimedFrames) + " frames of audio, the file holds " +
             std::to_string(held / blockAlign) + " (cut short): read " + std::to_string(framesRead);
    }
    // After the data: nothing, a pad byte, or further chunks.
    const std::uint64_t end = start + size + (size & 1U);
    if (end < fileSize) {
      unsigned char next[8] = {};
      file.clear();
      file.seekg(static_cast<std::streamoff>(end));
      const bool chunkFollows = end + 8 <= fileSize && file.read(reinterpret_cast<char*>(next), sizeof next) &&
                                ChunkId(next) && end + 8 + Little32(next + 4) <= fileSize + 1;
      if (!chunkFollows) {
        return "the header claims " + std::to_string(claimedFrames) + " frames of audio, the file holds " +
               std::to_string(fileSize - end) + " bytes more after them: read " + std::to_string(framesRead) +
               ", the rest left out";
      }
    }
    return std::nullopt;
  }
  return std::nullopt;
}

}  // namespace host
