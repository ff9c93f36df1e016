#include "morvane/GroupShape.h"

#include "shim/SdkShim.h"

namespace Morvane {

void GroupShape::numPipeNotify() {
  ++shapeEpoch_;
  GroupShapeAttributes::numPipeNotify();
}

void GroupShape::stageIngressNotify( U32 group ) {
  ++shapeEpoch_;
  GroupShapeAttributes::stageIngressNotify( group );
}

void GroupShape::ovidWarNotify( U32 group ) {
  ++shapeEpoch_;
  GroupShapeAttributes::ovidWarNotify( group );
}

U32 GroupShape::getPipeGroupId( U32 unit, U32 pipe, U32 copy, U32 groupId ) const {
  return tcamId( groupId, Shim::sdkShim().kelmor_field_shared_by_pipes( unit ) ? 0 : pipe, copy );
}

U32 GroupShape::getNumPipe( U32 groupId ) const {
  if ( ovidWar( groupId ) )
    return 2;
  return stageIngress( groupId ) ? numPipe() : 1;
}

U32 GroupShape::getNumCopiesPerPipe( U32 unit, U32 groupId ) const {
  return Shim::sdkShim().kelmor_field_second_copy( unit ) && stageIngress( groupId ) ? 2 : 1;
}

PipeCopies::PipeCopies( const GroupShape & shape, U32 unit, U32 groupId )
    : shape_( &shape ),
      unit_( unit ),
      groupId_( groupId ),
      sharedByPipes_( Shim::sdkShim().kelmor_field_shared_by_pipes( unit ) ) {
  readBounds();
}

void PipeCopies::readBounds() {
  epoch_ = shape_->shapeEpoch();
  pipes_ = shape_->getNumPipe( groupId_ );
  copiesPerPipe_ = shape_->getNumCopiesPerPipe( unit_, groupId_ );
}

}  // namespace Morvane
