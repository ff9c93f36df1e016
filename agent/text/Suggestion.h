// What a person meant who mistyped a name.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Agent {

// "; did you mean NAME?" with the name that takes the fewest edits (a letter changed, added,
// removed, or exchanged with the next one) to be `wrong`, if they are few for its length; otherwise
// empty. Letters match in either case.
std::string suggestion( std::string_view wrong, const std::vector< std::string > & names );

}  // namespace Agent
