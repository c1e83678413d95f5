// A WAV file's header against what the file holds: a writer that died, or one
// that never went back to fill in the sizes, leaves a header that lies.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace host {

// [main thread] When `path` is a WAV file whose data chunk claims more bytes than
// the file holds after it, or is followed by bytes that are no chunk, what was
// read (`framesRead`) against what the header claims; nothing when they agree or
// the file is not a WAV.
std::optional<std::string> WavHeaderMismatch(const std::string& path, std::size_t framesRead);

}  // namespace host
