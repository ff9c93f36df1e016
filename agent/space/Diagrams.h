// The table of nodes, and diagrams made of single bits. Internal to this folder.
#pragma once

#include <string>
#include <vector>

#include "agent/space/PacketSet.h"

namespace Agent {

// Owner of the process's table of nodes: one at a time. Variables are numbered from 0, in the order
// in which diagrams test them.
class Diagrams {
 public:
  // Throws SpaceExhausted if there is no memory for the smallest table.
  Diagrams( U32 variables, U32 nodesMax );
  ~Diagrams();
  Diagrams( const Diagrams & ) = delete;
  Diagrams & operator=( const Diagrams & ) = delete;

  // For the text of SpaceExhausted.
  void workIs( std::string work ) { work_ = std::move( work ); }

  static PacketSet everything();
  static PacketSet bit( U32 variable, bool value );
  // The set `high` where the variable is set, otherwise `low`.
  static PacketSet choice( U32 variable, const PacketSet & high, const PacketSet & low );

  // The value of each variable.
  static bool holds( const PacketSet & set, const std::vector< bool > & bits );
  // Values of a set that is not empty: 0 where there is a choice, first variables first.
  static std::vector< bool > lowest( const PacketSet & set, U32 variables );

 private:
  friend class PacketSet;
  friend PacketSet operator&( const PacketSet & a, const PacketSet & b );
  friend PacketSet operator|( const PacketSet & a, const PacketSet & b );
  friend PacketSet operator-( const PacketSet & a, const PacketSet & b );
  // The result of an operation. Throws SpaceExhausted if it failed.
  static PacketSet result( int node );
  [[noreturn]] static void fail();

  const U32 nodesMax_;
  std::string work_;
};

}  // namespace Agent
