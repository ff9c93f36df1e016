// Invalid or conflicting command line arguments.
#pragma once

#include <stdexcept>

namespace Agent {

class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace Agent
