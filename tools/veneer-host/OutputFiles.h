// The files a render writes: their default names, and the checks made before the render
// starts, so that no render is lost to an output it could not write.
#pragma once

#include <string>

#include "RenderOptions.h"

namespace host {

// INPUT-veneer.EXT beside the input.
std::string DefaultOutput(const std::string& input);

// Every file the run writes must be its own: none may name the input or another output.
bool OutputsAreDistinct(const RenderOptions& options, std::string* error);

// [main thread] Creates the file's folder when missing and proves that a file can be written there.
bool PrepareOutput(const std::string& path, std::string* error);

}  // namespace host
