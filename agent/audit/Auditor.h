// Compares what the managers believe with what the software ASIC holds.
//
// A test or an agent calls it after any operation; the answer is the list of differences, one line
// each, empty when the books are right. It looks, for every unit of the group manager, at
//   locks        the caller's activity lock held, the SDK lock free, no SDK call made without it
//   groups       on the chip exactly while they have users; their users and entries counted right
//   entries      every recorded one on every pipe and copy, with the same rule, priority and state,
//                and nothing on the chip that no manager owns
//   twins        of the outer-VLAN workaround: made as the entry's rule and the bitmaps say, and
//                the map of VLANs holding exactly the entries that match them
//   statistics   the same object on both sides, attached to its entry
//   preselectors the recorded one of each group, used by that group alone
//   checkers     of ranges: on both sides, with the same interval and flags, while they have users
//   policers     in every pipe, with the same limits; attached alike to every copy of an entry
//   data qualifiers  as recorded, used as often as their groups say, matched on by these groups
//   capacity     the ASIC's record as its slices and the books are; where a capacity machine is
//                given, its table and alarms as the record is
//
// It reads the managers' public attributes and the chip's inspection functions and changes nothing.
//
// Locks: called with the activity lock held; takes the SDK lock through the inspection functions.
#pragma once

#include <string>
#include <vector>

#include "morvane/MorvaneTcamCapacitySm.h"
#include "morvane/MorvaneTcamGroupManager.h"
#include "softasic/SoftAsic.h"

namespace Audit {

// `capacity` has been polled after the last change of the chip; null when there is none.
std::vector< std::string > audit( const Morvane::MorvaneTcamGroupManager & manager,
                                  const SoftAsic::SoftAsic & chip,
                                  const Morvane::MorvaneTcamCapacitySm * capacity = nullptr );

}  // namespace Audit
