// What a reader assumes about a document, each once.
#pragma once

#include <algorithm>

#include "agent/read/AclDocument.h"

namespace Agent {

class ListNotes {
 public:
  explicit ListNotes( AclDocument & document ) : notes_( document.notes ) {}

  void add( const std::string & note ) {
    if ( std::find( notes_.begin(), notes_.end(), note ) == notes_.end() )
      notes_.push_back( note );
  }
  void reject() { add( "rules that reject drop: nothing is sent back" ); }
  void logging() { add( "logging is not programmed" ); }

 private:
  std::vector< std::string > & notes_;
};

}  // namespace Agent
