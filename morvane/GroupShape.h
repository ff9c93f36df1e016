// The hardware copies of a group, and the one walk over them.
//
//   for ( const PipeCopy c : groupManager.pipeCopies( unit, group ) )
//     ... c.pipe, c.copy, c.pipeGroup, c.entryId( entry )
//
// The walk is pipe-major, pipe 0 copy 0 first. It reads its bounds again after a change of the
// attributes that decide them: creating a group can double its pipes during the walk.
//
// Locks: the activity lock, as for every entity.
#pragma once

#include <iterator>

#include "kiv/Attribute.h"
#include "kiv/Entity.h"
#include "kiv/Export.h"
#include "kiv/HashMap.h"
#include "morvane/TcamIds.h"
#include "shim/SdkTypes.h"

namespace Morvane {

class GroupShape;

// Copies of a group at most: two in each pipe.
inline constexpr size_t copiesMax = size_t( 2 ) * BCM_PIPES_MAX;

// One step of the walk.
struct PipeCopy {
  U32 pipe;
  U32 copy;
  U32 pipeGroup;

  // The copy whose id callers hold.
  bool first() const { return pipe == 0 && copy == 0; }
  U32 entryId( U32 entry ) const { return tcamId( entry, pipe, copy ); }
};

// A walk that has not begun may be copied, which is cheaper than constructing one.
class KIV_API PipeCopies {
 public:
  PipeCopies( const GroupShape & shape, U32 unit, U32 groupId );

  U32 unit() const { return unit_; }

  struct End {};
  class Iterator {
   public:
    explicit Iterator( PipeCopies & walk ) : walk_( walk ) {}
    bool operator!=( End ) const { return copy_ != 0 || pipe_ < walk_.pipes(); }
    PipeCopy operator*() const { return { pipe_, copy_, walk_.pipeGroup( pipe_, copy_ ) }; }
    Iterator & operator++() {
      if ( ++copy_ >= walk_.copiesPerPipe() ) {
        copy_ = 0;
        ++pipe_;
      }
      return *this;
    }

   private:
    PipeCopies & walk_;
    U32 pipe_ = 0;
    U32 copy_ = 0;
  };

  Iterator begin() { return Iterator( *this ); }
  End end() const { return {}; }
  bool empty() { return pipes() == 0; }

 private:
  void readBounds();
  void refresh();
  U32 pipes() {
    refresh();
    return pipes_;
  }
  U32 copiesPerPipe() {
    refresh();
    return copiesPerPipe_;
  }
  U32 pipeGroup( U32 pipe, U32 copy ) const {
    return tcamId( groupId_, sharedByPipes_ ? 0 : pipe, copy );
  }

  const GroupShape * shape_;
  U32 unit_;
  U32 groupId_;
  bool sharedByPipes_;
  U32 epoch_;
  U32 pipes_;
  U32 copiesPerPipe_;
};

// The copies of a walk from the last one back, for releases. The bounds must not change during the
// walk.
class CopiesBackwards {
 public:
  explicit CopiesBackwards( PipeCopies walk ) {
    for ( const PipeCopy c : walk )
      copies_[ size_++ ] = c;
  }

  auto begin() const { return std::make_reverse_iterator( copies_ + size_ ); }
  auto end() const { return std::make_reverse_iterator( copies_ ); }

 private:
  PipeCopy copies_[ copiesMax ];
  size_t size_ = 0;
};

// The attributes that decide the copies.
class KIV_API GroupShapeAttributes : public Kiv::Entity {
 public:
  struct Notifiee : Kiv::NotifieeConst {
    virtual void onNumPipe() {}
    virtual void onStageIngress( U32 ) {}
    virtual void onOvidWar( U32 ) {}
  };

  // Pipes of the chips; set by the agent before start-up.
  KIV_SCALAR( U32, numPipe, NumPipe, 0 );
  // By group: copied per pipe. Rewritten by every group creation.
  KIV_VALUES( Kiv::HashMap, U32, bool, stageIngress, StageIngress );
  // By group: needs the outer-VLAN workaround, so that every entry has a twin.
  KIV_VALUES( Kiv::HashMap, U32, bool, ovidWar, OvidWar );

 protected:
  explicit GroupShapeAttributes( const Kiv::Name & name ) : Kiv::Entity( name ) {}
};

// The part of the group manager that decides the copies. A change of its attributes invalidates the
// bounds that walks have cached.
class KIV_API GroupShape : public GroupShapeAttributes {
 public:
  void numPipeNotify() override;
  void stageIngressNotify( U32 group ) override;
  void ovidWarNotify( U32 group ) override;

  // Pipe group id; without pipe bits on a unit whose field processor is shared by all pipes.
  U32 getPipeGroupId( U32 unit, U32 pipe, U32 copy, U32 groupId ) const;
  // Pipes over which a group is walked, and its copies in each of them.
  U32 getNumPipe( U32 groupId ) const;
  U32 getNumCopiesPerPipe( U32 unit, U32 groupId ) const;
  PipeCopies pipeCopies( U32 unit, U32 groupId ) const { return { *this, unit, groupId }; }

  // Incremented by every change of the attributes above.
  U32 shapeEpoch() const { return shapeEpoch_; }

 protected:
  explicit GroupShape( const Kiv::Name & name ) : GroupShapeAttributes( name ) {}

 private:
  U32 shapeEpoch_ = 0;
};

inline void PipeCopies::refresh() {
  if ( epoch_ != shape_->shapeEpoch() ) [[unlikely]]
    readBounds();
}

}  // namespace Morvane
