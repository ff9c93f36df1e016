// Base of everything that is shared through Kiv::Ptr.
//
// Invariants: an object is born with count 0 on the heap and belongs to its first Ptr. When the
// count returns to zero the object dies exactly once: its observers are notified, then it is
// deleted. A dying object cannot be revived: a Ptr taken while observers are notified must be
// dropped before they return (asserted), and dropping it does not delete a second time.
//
// Order of calls: construct (Kiv::make), share. A constructor must not make a Ptr to its own
// object: dropping it would delete what is not finished.
//
// Locks: see kiv/RefWord.h.
#pragma once

#include "kiv/Export.h"
#include "kiv/RefWord.h"
#include "kiv/Types.h"

namespace Kiv {

class KIV_API PtrInterface {
 public:
  PtrInterface() = default;
  PtrInterface( const PtrInterface & ) = delete;
  PtrInterface & operator=( const PtrInterface & ) = delete;

  // Number of Ptr that own the object now.
  U32 references() const { return RefWord::count( refWord_.word() ); }

 protected:
  virtual ~PtrInterface();

  // Runs once, before deletion, while the object is still complete. Does nothing here.
  virtual void zeroReferencesIs();

  mutable RefWord refWord_;

 private:
  template < class T >
  friend class Ptr;

  void addReference() const { refWord_.increment(); }
  void dropReference() const {
    U32 word = refWord_.decrement();
    if ( RefWord::count( word ) == 0 && !( word & RefWord::flagDying ) )
      const_cast< PtrInterface * >( this )->handleZeroRef();
  }
  void handleZeroRef();
};

}  // namespace Kiv
