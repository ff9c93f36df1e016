// The SDK's records, identifiers, enumerations and result codes.
//
// They are declared in shim/SdkDeclarations.h, or in the SDK's own header if the library was
// configured with one (MORVANE_SDK_HEADER). Both have the same names. The library reaches fields of
// records through Shim::Fields only: records of the SDK's header may have other fields, for which
// an adapter (MORVANE_SDK_ADAPTER) declares the functions that differ.
#pragma once

#include "shim/SdkConfig.h"

#ifdef MORVANE_SDK_HEADER
#include MORVANE_SDK_HEADER
#else
#include "shim/SdkDeclarations.h"
#endif

#include "shim/PlainFields.h"

#ifdef MORVANE_SDK_ADAPTER
#include MORVANE_SDK_ADAPTER
#else
namespace Shim {
using Fields = PlainFields;
}
#endif

#include "shim/PortSets.h"
#include "shim/SdkRequirements.h"
