// An SDK and a platform for programs outside the project.
#pragma once

#include "kiv/Lock.h"
#include "morvane/MorvaneTcamGroupManager.h"
#include "shim/SdkShim.h"

// Every operation succeeds; create operations return increasing ids.
class GrantingSdk : public Shim::SdkShim {
 public:
  void sdkLock() override KIV_NO_THREAD_SAFETY_ANALYSIS { lock_.lock(); }
  void sdkUnlock() override KIV_NO_THREAD_SAFETY_ANALYSIS { lock_.unlock(); }
  const char * sdkErrorText( int ) const override { return "none"; }

#define SDK_OP( name, params, args )                                      \
  int name( [[maybe_unused]] Kiv::U32 unit SDK_UNPACK params ) override { \
    return grant args;                                                    \
  }
#define SDK_QUERY( name )                \
  bool name( Kiv::U32 ) const override { \
    return false;                        \
  }
#include "shim/SdkOperations.inc"

 private:
  template < class... Args >
  int grant( const Args &... args ) {
    ( fill( args ), ... );
    return 0;
  }
  template < class T >
  void fill( const T & ) {}
  void fill( bcm_field_entry_t * id ) {
    *id = ++lastId_;
  }

  Kiv::Lock lock_;
  bcm_field_entry_t lastId_ = 0;
};

// One group that matches destinations, with one user.
class OnePlatform : public Morvane::PlatformTables {
 public:
  using U32 = Morvane::U32;
  using S32 = Morvane::S32;

  explicit OnePlatform( const Morvane::TcamReservation & user = { "acl", Morvane::ipAclTcamGroup, 1,
                                                                  16, false, false, false,
                                                                  Morvane::tcamAllocateOnDemand } )
      : user_( user ) {}

  U32 numTcamGroups() const override { return 1; }
  const Morvane::TcamGroup & tcamGroup( U32 ) const override { return group_; }
  U32 numTcamReservations() const override { return 1; }
  Morvane::TcamReservation & tcamReservation( U32 ) override { return user_; }
  U32 numGroupMapEntries() const override { return 0; }
  const Morvane::TcamGroupMap & groupMap( U32 ) const override { return map_; }
  U32 numGroupExcludes() const override { return 0; }
  const Morvane::TcamGroupQualifiers & groupExcludes( U32 ) const override { return none_; }
  U32 numGroupIncludes() const override { return 0; }
  const Morvane::TcamGroupQualifiers & groupIncludes( U32 ) const override { return none_; }
  S32 chipType( U32 ) const override { return 0; }
  U32 loopbackPort( U32, U32 ) const override { return 0; }
  bool noStatsPerEntry( U32 ) const override { return false; }
  bool requiresMulticastWar( U32 ) const override { return false; }
  bool matchesIPv4( U32 ) const override { return true; }
  bool matchesIPv6( U32 ) const override { return false; }
  const Morvane::MorvaneCentral::Attributes & attributes() const override { return attributes_; }

 private:
  static constexpr U32 list_[] = { bcmFieldQualifyStageIngress, bcmFieldQualifyDstIp,
                                   bcmFieldQualifyCount };
  Morvane::TcamGroup group_{ 1, list_ };
  Morvane::TcamReservation user_;
  Morvane::TcamGroupMap map_{};
  Morvane::TcamGroupQualifiers none_{};
  Morvane::MorvaneCentral::Attributes attributes_{};
};
