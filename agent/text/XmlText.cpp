#include "agent/text/XmlText.h"

#include <nlohmann/json.hpp>

namespace Agent {

std::string xmlEscaped( const std::string & text ) {
  using Json = nlohmann::json;
  const Json valid =
      Json::parse( Json( text ).dump( -1, ' ', false, Json::error_handler_t::replace ) );
  std::string out;
  for ( const char c : valid.get_ref< const std::string & >() ) {
    switch ( c ) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += static_cast< unsigned char >( c ) < ' ' ? '?' : c;
    }
  }
  return out;
}

}  // namespace Agent
