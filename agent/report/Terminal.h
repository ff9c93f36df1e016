// What standard output can show.
#pragma once

#include <string>

#include "kiv/Types.h"

namespace Agent {

using namespace Kiv::Integers;

struct Terminal {
  U32 columns = 0;  // 0: not a terminal
  bool colours = false;

  // COLUMNS replaces the terminal's own width. There are no colours with NO_COLOR set and not
  // empty, nor on a dumb terminal.
  static Terminal standardOutput();
};

enum class Paint { good, bad, none };

// The text in a colour, if the terminal has them.
std::string painted( const Terminal & terminal, Paint paint, const std::string & text );

}  // namespace Agent
