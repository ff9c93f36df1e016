// Sets of packets as decision diagrams.
//
// The diagrams' nodes are in one table of the process, which a Space (Space.h) owns; sets must not
// outlive it. Operations throw SpaceExhausted if the table is full: the space can then only be
// destroyed.
#pragma once

#include <stdexcept>
#include <string>

#include "kiv/Types.h"

namespace Agent {

using namespace Kiv::Integers;

// what(): one line with the work that needed the nodes, and the bound.
class SpaceExhausted : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class PacketSet {
 public:
  PacketSet() = default;  // no packets
  PacketSet( const PacketSet & other );
  PacketSet( PacketSet && other ) noexcept : node_( other.node_ ) { other.node_ = 0; }
  PacketSet & operator=( PacketSet other ) noexcept;
  ~PacketSet();

  bool empty() const { return node_ == 0; }
  bool contains( const PacketSet & other ) const { return ( other - *this ).empty(); }
  bool meets( const PacketSet & other ) const { return !( *this & other ).empty(); }
  // Of the diagram.
  U32 nodes() const;

  friend PacketSet operator&( const PacketSet & a, const PacketSet & b );
  friend PacketSet operator|( const PacketSet & a, const PacketSet & b );
  friend PacketSet operator-( const PacketSet & a, const PacketSet & b );
  PacketSet & operator&=( const PacketSet & other ) { return *this = *this & other; }
  PacketSet & operator|=( const PacketSet & other ) { return *this = *this | other; }
  PacketSet & operator-=( const PacketSet & other ) { return *this = *this - other; }
  // Equal sets have the same diagram.
  friend bool operator==( const PacketSet & a, const PacketSet & b ) { return a.node_ == b.node_; }
  friend auto operator<=>( const PacketSet & a, const PacketSet & b ) {
    return a.node_ <=> b.node_;
  }

 private:
  friend class Diagrams;
  explicit PacketSet( int node );

  int node_ = 0;
};

}  // namespace Agent
