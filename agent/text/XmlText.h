// Text inside XML and HTML.
#pragma once

#include <string>

namespace Agent {

// User text such as file names need not be UTF-8: invalid sequences become replacement characters,
// control characters question marks.
std::string xmlEscaped( const std::string & text );

}  // namespace Agent
