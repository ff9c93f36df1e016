#include "softasic/Controls.h"

namespace SoftAsic {

int Controls::set( bcm_field_control_t control, U32 state ) {
  if ( control < bcmFieldControlRedirectExcludeSrcPort ||
       control > bcmFieldControlPolicerGroupSharingEnable )
    return BCM_E_PARAM;
  view_.controls[ control ] = state;
  return BCM_E_NONE;
}

int Controls::setPort( U32 ports, U32 port, bcm_port_control_t control, int value ) {
  if ( port >= ports )
    return BCM_E_PORT;
  if ( control != bcmPortControlFilterIngress && control != bcmPortControlFilterLookup )
    return BCM_E_PARAM;
  view_.portControls[ { port, control } ] = value;
  return BCM_E_NONE;
}

}  // namespace SoftAsic
