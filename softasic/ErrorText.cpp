// Text of SDK result codes.
#include "softasic/SoftAsic.h"

namespace SoftAsic {

const char * SoftAsic::sdkErrorText( int rc ) const {
  switch ( rc >= 0 ? 0 : rc ) {
    case BCM_E_NONE:
      return "Ok";
    case BCM_E_INTERNAL:
      return "Internal error";
    case BCM_E_MEMORY:
      return "Out of memory";
    case BCM_E_UNIT:
      return "Invalid unit";
    case BCM_E_PARAM:
      return "Invalid parameter";
    case BCM_E_EMPTY:
      return "Table empty";
    case BCM_E_FULL:
      return "Table full";
    case BCM_E_NOT_FOUND:
      return "Entry not found";
    case BCM_E_EXISTS:
      return "Entry exists";
    case BCM_E_TIMEOUT:
      return "Operation timed out";
    case BCM_E_BUSY:
      return "Operation still running";
    case BCM_E_FAIL:
      return "Operation failed";
    case BCM_E_DISABLED:
      return "Operation disabled";
    case BCM_E_BADID:
      return "Invalid identifier";
    case BCM_E_RESOURCE:
      return "No resources for operation";
    case BCM_E_CONFIG:
      return "Invalid configuration";
    case BCM_E_UNAVAIL:
      return "Feature unavailable";
    case BCM_E_INIT:
      return "Feature not initialized";
    case BCM_E_PORT:
      return "Invalid port";
    default:
      return "Unknown error";
  }
}

}  // namespace SoftAsic
