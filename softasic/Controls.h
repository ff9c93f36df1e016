// Chip and port controls. They are stored for inspection and have no effect on the tables.
//
// Chip rules: BCM_E_PARAM for an unknown control, BCM_E_PORT for an invalid port. The view holds
// only controls that were set.
#pragma once

#include "softasic/Inspection.h"

namespace SoftAsic {

class Controls {
 public:
  int set( bcm_field_control_t control, U32 state );
  int setPort( U32 ports, U32 port, bcm_port_control_t control, int value );
  const ControlsView & view() const { return view_; }

 private:
  ControlsView view_;
};

}  // namespace SoftAsic
