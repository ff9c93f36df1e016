#include <cstdlib>
#include <filesystem>

#include "agent/shell/LineEditor.h"

namespace Agent {

std::string historyFile() {
  std::filesystem::path folder;
  if ( const char * state = std::getenv( "XDG_STATE_HOME" ); state != nullptr && *state == '/' )
    folder = state;
  else if ( const char * home = std::getenv( "HOME" ); home != nullptr && *home == '/' )
    folder = std::filesystem::path( home ) / ".local" / "state";
  else
    return "";
  folder /= "morvane-tcam";
  std::error_code error;
  std::filesystem::create_directories( folder, error );
  return error ? "" : ( folder / "history" ).string();
}

}  // namespace Agent
