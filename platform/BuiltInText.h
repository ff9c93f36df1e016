// Texts that are files in the source tree and constants in the program.
//
// The build turns each file into an element of these arrays (platform/EmbedText.cmake).
#pragma once

#include <span>

namespace Platform {

struct BuiltInText {
  const char * name;  // the file's name without its folder and extension
  const char * text;
};

extern const std::span< const BuiltInText > builtInPlatformTexts;  // smallest platform first

}  // namespace Platform
