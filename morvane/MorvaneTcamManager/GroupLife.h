// The life of a group on one unit: references, creation, teardown, preselectors. Internal.
//
// Every user of a group holds one reference on each hardware copy; a copy exists in hardware
// exactly while it has references. A mirroring group has one user and at most one reference.
#pragma once

#include <array>

#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/Rollback.h"

namespace Morvane {

class GroupBuilder;

// The hardware copies on which one acquisition took a reference.
class GroupReferences {
 public:
  void add( U32 pipeGroupId ) { pipeGroupIds_[ count_++ ] = pipeGroupId; }
  bool empty() const { return count_ == 0; }
  U32 size() const { return count_; }
  U32 operator[]( U32 index ) const { return pipeGroupIds_[ index ]; }

 private:
  std::array< U32, size_t( 2 ) * BCM_PIPES_MAX > pipeGroupIds_;
  U32 count_ = 0;
};

class GroupLife {
 public:
  GroupLife( MorvaneTcamGroupManager & manager, U32 unit ) : manager_( manager ), unit_( unit ) {}

  // Takes one reference on every copy, creating copies that do not exist. False without room in
  // hardware: the references in `taken` stay until the rollback undoes them.
  bool acquire( U32 group, Rollback & rollback, GroupReferences & taken );
  // The same with a group that the caller has prepared.
  bool acquireCopies( GroupBuilder & builder, U32 group, Rollback & rollback,
                      GroupReferences & taken );

  // Drop references from the records, and add the hardware steps to `release`.
  // Of one copy; `releaseUdf`: the group's UDF qualifiers are destroyed with its last copy.
  void drop( U32 pipeGroupId, bool releaseUdf, Release & release );
  void drop( const GroupReferences & taken, Release & release );
  // One reference of every copy, the last copy first.
  void dropAll( U32 group, Release & release );
  // The copy's preselector, if any.
  void dropPreselector( U32 pipeGroupId, Release & release );

  // References that no entry manager holds.
  S32 foreignReferences( U32 group ) const;
  // Takes one reference from an entry manager that holds it without using it; whether there was
  // one.
  bool dropUnused( U32 group );
  // Free entries of an existing group; compresses freed slices if it looks full.
  U32 freeEntries( U32 group );
  // Forgets the group's ACL type unless the group exists on another unit.
  void forgetMirroringAclType( U32 group );

 private:
  bool createCopy( GroupBuilder & builder, const PipeCopy & at, Rollback & rollback );
  bool referenceExisting( U32 group, const PipeCopy & at, Rollback & rollback,
                          GroupReferences & taken );
  void releaseUdfQualifiers( U32 pipeGroupId, Release & release );
  void compressFreedSlices();

  MorvaneTcamGroupManager & manager_;
  const U32 unit_;
};

// Keeps the ACL type of a mirroring group that entriesAvailable creates temporarily.
class MirroringTypeKeeper {
 public:
  MirroringTypeKeeper( MorvaneTcamGroupManager & manager, U32 group );
  ~MirroringTypeKeeper();
  MirroringTypeKeeper( const MirroringTypeKeeper & ) = delete;
  MirroringTypeKeeper & operator=( const MirroringTypeKeeper & ) = delete;

 private:
  MorvaneTcamGroupManager & manager_;
  const U8 group_;
  const bool had_;
  const S32 type_;
};

}  // namespace Morvane
