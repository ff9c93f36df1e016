// Finds out what happens to a packet on the switch.
#pragma once

#include "agent/command/Run.h"
#include "agent/report/Explanation.h"

namespace Agent {

class Explainer {
 public:
  // All must outlive the explainer; the feature has programmed the lists of the input.
  Explainer( const RunInput & input, SwitchSession & session, AclFeature & feature )
      : input_( input ), session_( session ), feature_( feature ) {}

  // Sends the packet, which counts and polices. `rule`: one to explain as well.
  Explanation explain( const Packet & packet, const PortPair & ports,
                       const std::optional< RuleIndex > & rule );

 private:
  struct Sent;  // the packet and what the chip did with it

  void addFields( const Sent & sent, Explanation & result ) const;
  void addTables( const Sent & sent, Explanation & result ) const;
  TableLookup lookup( const Sent & sent, const SoftAsic::GroupView & group ) const;
  Winner winnerOf( const SoftAsic::Match & match ) const;
  std::string ownerOf( U32 entryId ) const;
  std::string whyNone( const Sent & sent, const SoftAsic::GroupView & group ) const;
  RuleVerdict verdictOf( const Sent & sent, const RuleIndex & index ) const;
  bool blamesField( const Sent & sent, const RuleIndex & index, RuleVerdict & verdict ) const;
  std::string whyBeaten( const Sent & sent, const RuleIndex & index ) const;
  std::string nameOf( const RuleIndex & index ) const;

  const RunInput & input_;
  SwitchSession & session_;
  AclFeature & feature_;
};

}  // namespace Agent
