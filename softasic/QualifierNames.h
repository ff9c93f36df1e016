// Names of the SDK's qualifiers as platform files write them: the enumerator without its prefix.
#pragma once

#include <optional>
#include <string>

#include "kiv/Types.h"

namespace SoftAsic {

using namespace Kiv::Integers;

// Absent for a name that no qualifier has.
std::optional< U32 > qualifierNumber( const std::string & name );
// Null for a number that no qualifier has.
const char * qualifierName( U32 number );

}  // namespace SoftAsic
