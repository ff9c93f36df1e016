#include "snaptrace/Line.h"

namespace Snaptrace {

Line::Line( RingTarget ring, TextTarget text, U32 level )
    : ring_( ring.enabledHandle() ), text_( text.enabledHandle( level ) ), level_( level ) {}

Line::~Line() {
  if ( ring_ )
    MsgDesc( *ring_, line_.view() ).finish();
  if ( text_ )
    Kiv::traceLine( *text_, level_, line_.view() );
}

}  // namespace Snaptrace
