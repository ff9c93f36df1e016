// A switch that is kept alive, and its access lists, which are changed one after the other.
//
// A change is done as a whole, or the switch and its lists stay as they are. Changes are entry by
// entry: what they do not concern keeps its entries and counters (AclFeature::replaceAcls).
//
// Locking: hold the activity lock from before construction until after destruction.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "agent/command/Run.h"
#include "agent/feature/AclFeature.h"
#include "agent/session/SwitchSession.h"

namespace Agent {

class LiveSwitch {
 public:
  // A switch without lists. Throws what readInput throws.
  explicit LiveSwitch( const RunOptions & options );
  ~LiveSwitch();
  LiveSwitch( const LiveSwitch & ) = delete;
  LiveSwitch & operator=( const LiveSwitch & ) = delete;

  // Adds the lists of the options, each by itself. Returns a line for each that is left out. Call
  // once, before all changes; it cannot be undone.
  std::vector< std::string > addFirstLists();

  // --- Changes: each returns what it did, in one line, and throws ShellError or what readInput
  // throws, with nothing changed

  // Arguments as of --acl. The lists are added before `before`, by name, or after all others.
  // `bind`: PORTS[:in|out]; empty: as the files say.
  std::string addLists( const std::vector< std::string > & arguments,
                        const std::optional< std::string > & before, const std::string & bind );
  std::string removeList( const std::string & name );
  // `index` in the list; a rule goes before the one that is there.
  std::string addRule( U32 acl, U32 index, const AclRule & rule );
  std::string removeRule( U32 acl, U32 index );
  // Reverses the last change that is not undone yet.
  std::string undo();

  // --- The switch as it is

  // Of a list by name. Throws ShellError.
  U32 listNamed( const std::string & name ) const;
  const RunInput & input() const { return input_; }
  const RunOptions & options() const { return options_; }
  SwitchSession & session() { return session_; }
  AclFeature & feature() { return feature_; }
  // Rules that were refused, and are left out (--partial).
  U64 refused() const { return refused_; }

 private:
  using Lists = std::vector< Acl >;
  using Edit = std::function< void( Lists & ) >;
  struct Change {
    std::string what;  // "edge removed"
    Edit reverse;
  };

  std::string apply( const std::string & what, const Edit & edit );
  std::string change( const std::string & what, const Edit & edit, Edit reverse );
  void requireSupported( const Lists & lists ) const;

  const RunOptions options_;
  RunInput input_;
  Lists first_;  // of the options
  SwitchSession session_;
  AclFeature feature_;
  std::vector< Change > done_;
  U64 refused_ = 0;
};

}  // namespace Agent
