// The unit that is checked, as a check sees it: calls, expectations, and the objects that the check
// has created. What is left of them when the check ends is destroyed.
//
// Groups are created as the library creates them: with an id, per copy where the chip has a second
// copy, with the ports of their pipe and a preselector where the chip places groups so.
#pragma once

#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "sdkcheck/Calls.h"

namespace SdkCheck {

// What ends a check early; `what` is the reason, for the report.
enum class Verdict { ok, failed, notSupported, notApplicable };
struct CheckEnd {
  Verdict verdict;
  std::string reason;
};

// Sets, whatever the SDK's records of them are.
bool equal( const bcm_field_qset_t & a, const bcm_field_qset_t & b );
// The set with, or without, a qualifier.
bcm_field_qset_t with( bcm_field_qset_t set, U32 qualifier );
bcm_field_qset_t without( bcm_field_qset_t set, U32 qualifier );

inline constexpr U32 pipeShift = 24;  // of ids; the copy bit is above the pipe bits

class Unit {
 public:
  // `limit`: how many objects a check creates at most while it waits for a refusal.
  Unit( Shim::SdkShim & shim, U32 unit, U32 limit );

  const Calls sdk;
  const U32 unit;
  const U32 limit;

  // --- The chip ---------------------------------------------------------------------------
  bool shared() const { return shared_; }            // one field processor serves all pipes
  bool preselected() const { return preselected_; }  // groups are chosen by preselector
  U32 pipes() const { return pipes_; }               // with ports
  const bcm_port_config_t & ports() const { return ports_; }
  // Pipe and copy bits of each instance of the ingress tables, from 0.
  const std::vector< U32 > & instances() const { return instances_; }

  // --- Expectations: anything else ends the check as failed --------------------------------
  void ok( const Outcome & outcome ) const;
  // Misuse: negative, and no code that says "no room" or "not supported".
  void refused( const Outcome & outcome ) const;
  void is( int code, const Outcome & outcome ) const;
  void isOneOf( std::initializer_list< int > codes, const Outcome & outcome ) const;
  void equal( const std::string & what, S64 actual, S64 expected ) const;
  void holds( const std::string & what, bool condition ) const;
  // The operation that a check cannot do without: BCM_E_UNAVAIL ends it as not supported.
  void needs( const Outcome & outcome ) const;
  // The same for a resource that a chip may have none of: BCM_E_RESOURCE says so, too.
  void needsAny( const Outcome & outcome ) const;
  [[noreturn]] void fail( const std::string & reason ) const;
  // "-14 (BCM_E_RESOURCE)"; the SDK's text for codes that the library does not know by name.
  std::string textOf( int rc ) const;
  [[noreturn]] void notApplicable( const std::string & reason ) const;

  // --- Objects -----------------------------------------------------------------------------
  // The chip's ingress stage, destination addresses, outer VLAN and ports.
  bcm_field_qset_t qualifiers() const;
  // By default with these qualifiers, and the preselector of the instance where groups have one.
  bcm_field_group_config_t config( U32 number, U32 instance );
  bcm_field_group_config_t config( U32 number, U32 instance, const bcm_field_qset_t & qset,
                                   std::optional< U32 > presel = {} );
  U32 group( U32 number, U32 instance = 0 );
  U32 group( bcm_field_group_config_t config );
  // The id that the library gives to an entry of the group: group number and 16 bits below.
  static U32 entryId( U32 group, U32 number );
  U32 entry( U32 group, U32 number );

  // In the order in which they use each other.
  enum class Kind { presel, data, range, group, policer, stat, entry };
  // Notes an object that a call has created, or that the check has destroyed.
  void created( Kind kind, U32 id );
  void gone( Kind kind, U32 id );
  // Destroys an object: must succeed.
  void destroy( Kind kind, U32 id );

  bcm_field_group_status_s status( U32 group ) const;
  U32 priority( U32 entry ) const;
  // The outer VLAN that the entry's current rule matches.
  std::pair< U32, U32 > vlan( U32 entry ) const;
  // Fills the unit's first instance with groups from `number` on until one is refused for lack of
  // slices; returns those created.
  std::vector< U32 > takeAllSlices( U32 number );

  // Destroys what is left. `strict`: every call must succeed; otherwise failures are ignored.
  void clean( bool strict );

 private:
  using Objects = std::vector< std::pair< Kind, U32 > >;

  Outcome makeDestroy( Kind kind, U32 id ) const;
  void forceDestroy( Kind kind, U32 id, const Objects & objects ) const;
  U32 preselector( U32 instance );

  bool shared_;
  bool preselected_;
  bool secondCopy_;
  bool singlePort_;
  U32 pipes_ = 0;
  bcm_port_config_t ports_ = {};
  std::vector< U32 > instances_;
  Objects objects_;
  std::map< U32, U32 > presels_;  // by instance
};

}  // namespace SdkCheck
