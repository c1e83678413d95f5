// Finding component bundles on disk and registering what their Info.plist lists.
#pragma once

#include <string>
#include <vector>

namespace veneer::audio {

class Registry;

// The folders searched for "*.component" bundles: $HOME/Library/Audio/Plug-Ins/Components,
// then each folder of VENEER_COMPONENT_PATH (colon-separated) in its order.
std::vector<std::string> ComponentSearchFolders();

// [any thread] Registers every component of every bundle in `folders`: folders in order,
// bundles sorted by name within a folder, components in their AudioComponents order.
void RegisterComponentBundles(Registry& registry, const std::vector<std::string>& folders);

}  // namespace veneer::audio
