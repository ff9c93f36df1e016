// JSON as reports print it.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace Agent {

// Indented, with a final newline. Bytes that are not UTF-8 are replaced.
inline std::string jsonText( const nlohmann::ordered_json & json ) {
  return json.dump( 2, ' ', false, nlohmann::ordered_json::error_handler_t::replace ) + "\n";
}

}  // namespace Agent
