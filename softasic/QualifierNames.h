// Qualifier names used in platform files: the SDK enumerator without its prefix.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kiv/Types.h"

namespace SoftAsic {

using namespace Kiv::Integers;

// Empty for an unknown name.
std::optional< U32 > qualifierNumber( const std::string & name );
// Null for an unknown number.
const char * qualifierName( U32 number );
// All of them.
std::vector< std::string_view > qualifierNames();

}  // namespace SoftAsic
