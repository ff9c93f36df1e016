#include "kiv/MapIter.h"

#include "kiv/Exception.h"

namespace Kiv {

void MapIterLink::link( MapIterList & list ) {
  list_ = &list;
  next_ = list.first_;
  if ( next_ )
    next_->previous_ = this;
  list.first_ = this;
}

void MapIterLink::unlink() {
  if ( !list_ )
    return;
  ( previous_ ? previous_->next_ : list_->first_ ) = next_;
  if ( next_ )
    next_->previous_ = previous_;
  list_ = nullptr;
  next_ = previous_ = nullptr;
}

void MapIterLink::throwOutOfRange() {
  throw RangeException( "out-of-range collection access" );
}

}  // namespace Kiv
