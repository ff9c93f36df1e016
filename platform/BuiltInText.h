// Text files of the source tree that are compiled into the program.
//
// The build turns each file into one element of such an array (platform/EmbedText.cmake).
#pragma once

#include <span>

namespace Platform {

struct BuiltInText {
  const char * name;  // the file's name without its folder and extension
  const char * text;
};

extern const std::span< const BuiltInText > builtInPlatformTexts;  // smallest platform first

}  // namespace Platform
