#include "snaptrace/Line.h"

namespace Snaptrace {

Line::~Line() {
  if ( ring_ )
    MsgDesc( *ring_, line_.view() ).finish();
  if ( text_ )
    Kiv::traceLine( *text_, level_, line_.view() );
}

}  // namespace Snaptrace
