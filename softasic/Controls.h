// Chip and port controls: switches that the chip stores and shows, without an effect on its tables.
//
// Chip rules: an unknown control is refused (-4), a port that the chip lacks too (-18). A control
// that was never set is absent from the view.
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
