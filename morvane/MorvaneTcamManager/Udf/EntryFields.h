// User-defined fields of the rules of a mirroring group. Internal.
#pragma once

#include "morvane/MorvaneTcamGroupManager.h"

namespace Morvane {

class EntryFields {
 public:
  EntryFields( const MorvaneTcamEntryManager & user, U32 unit ) : user_( user ), unit_( unit ) {}

  // As the entry manager's setMirroringAclUdf, getMirroringAclUdf and verifyMirroringAclUdf.
  GroupUdfQualApplyStatus set( S32 aclType, U32 ethType, UdfOffsetBase base, U8 offset, U8 length,
                               bool add ) const;
  S32 find( S32 aclType, U32 ethType, UdfOffsetBase base, U8 offset, U8 length ) const;
  void verify( S32 aclType, U32 ethType, UdfOffsetBase base, U8 offset, U8 length ) const;

 private:
  const MorvaneTcamEntryManager & user_;
  const U32 unit_;
};

}  // namespace Morvane
