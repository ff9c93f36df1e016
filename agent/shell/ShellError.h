// A command of the shell that cannot be done.
#pragma once

#include <stdexcept>

namespace Agent {

// what(): one line.
class ShellError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace Agent
