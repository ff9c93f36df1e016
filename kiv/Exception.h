// Exceptions of the object model: what a caller did wrong, never the state of the hardware.
//
// All derive from Exception. Debugging data (the stack at the throw) is gathered only while
// Exception::debugExceptions_ is on, since it allocates and is slow.
#pragma once

#include <atomic>
#include <exception>

#include "kiv/Export.h"
#include "kiv/Ptr.h"
#include "kiv/String8.h"

namespace Kiv {

// The system's text for an errno value; any number has one ("Unknown error 9999").
KIV_API String8 errorString( int errnum );

// Debugging data: the return addresses of the throwing thread, one a line.
class KIV_API Backtrace : public PtrInterface {
 public:
  Backtrace();
  const String8 & text() const { return text_; }

 private:
  String8 text_;
};

class KIV_API Exception : public std::exception {
 public:
  // Process-wide switch, off at start.
  static std::atomic< bool > debugExceptions_;

  explicit Exception( const String8 & message );
  Exception( const Exception & ) noexcept = default;
  Exception & operator=( const Exception & ) noexcept = default;
  ~Exception() override;

  const String8 & message() const { return message_; }
  const char * what() const noexcept override { return message_.charPtr(); }
  // A Backtrace; null when debugExceptions_ was off at the throw.
  const Ptr< PtrInterface > & debugData() const { return debugData_; }

 private:
  String8 message_;
  Ptr< PtrInterface > debugData_;
};

// A system call failed. The message is "MESSAGE: SYSTEM TEXT".
class KIV_API ErrnoException : public Exception {
 public:
  ErrnoException( int errnum, const String8 & message );
  ~ErrnoException() override;
};

// The lock protocol was broken.
class KIV_API InternalException : public Exception {
 public:
  using Exception::Exception;
  ~InternalException() override;
};

// A generic access with a value or key of another type, or a text that is no form of the type.
class KIV_API TypeException : public Exception {
 public:
  using Exception::Exception;
  ~TypeException() override;
};

// A value as a key, or its hash, whose type has none.
class KIV_API UnhashableException : public Exception {
 public:
  using Exception::Exception;
  ~UnhashableException() override;
};

// Not supported: an operation that the type, or the attribute, does not have.
class KIV_API NoImplementationException : public Exception {
 public:
  using Exception::Exception;
  ~NoImplementationException() override;
};

// A null ValidPtr, or access outside a collection.
class KIV_API RangeException : public Exception {
 public:
  using Exception::Exception;
  ~RangeException() override;
};

// A second construction under one name with other constructor parameters.
class KIV_API NameInUseException : public Exception {
 public:
  using Exception::Exception;
  ~NameInUseException() override;
};

}  // namespace Kiv
