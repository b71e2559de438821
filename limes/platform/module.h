#pragma once

#include <string>
#include <vector>

#include "limes/export.h"
#include "limes/platform/string_table.h"
#include "limes/platform/text.h"

namespace limes {

/// An extension module of the host's framework: a name, a version and a string table. Constant
/// data that outlives its registration, and calls of its text that are under way in other threads.
struct SModule {
  const char* name = "";
  const char* version = "";
  /// Text of an id in a language; null when the module has none. Called under no lock: it may load
  /// texts itself.
  const char16_t* (*text)(unsigned id, platform::Language language) = nullptr;
};

/// Registers a module while it lives; a static object stands for "while the code is loaded".
/// Any thread.
class LIMES_EXPORT CModuleRegistration {
 public:
  explicit CModuleRegistration(const SModule* module);
  ~CModuleRegistration();
  CModuleRegistration(const CModuleRegistration&) = delete;
  CModuleRegistration& operator=(const CModuleRegistration&) = delete;

 private:
  friend class ModuleRegistry;

  const SModule* module_;
  CModuleRegistration* next_ = nullptr;
};

/// The modules loaded at present, in the order of loading: the resource chain. Any thread.
class LIMES_EXPORT ModuleRegistry {
 public:
  struct Entry {
    std::string name;
    std::string version;
  };
  static std::vector<Entry> Modules();

  /// The module at a place of the chain, from 0; null behind its end.
  static const SModule* At(unsigned i);

  /// This library's own module, "limes".
  static const SModule* Library();

  /// Makes a module the one whose texts are looked up first (null: none); returns the former one.
  /// One for the process, as the language.
  static const SModule* SetResourceSource(const SModule* module);

  /// Text of an id from the resource source or the chain; null when none has it.
  static const char16_t* FindText(unsigned id, platform::Language language);
};

/// The text of a number in the current language, from the resource source or else from the first
/// module of the chain that has it; empty when none has. Any thread.
LIMES_EXPORT wide_string LoadString(unsigned id);

/// Makes a module the resource source for a scope, and the former one again at its end.
class ResourceSourceScope {
 public:
  explicit ResourceSourceScope(const SModule* module)
      : former_(ModuleRegistry::SetResourceSource(module)) {}
  ~ResourceSourceScope() { ModuleRegistry::SetResourceSource(former_); }
  ResourceSourceScope(const ResourceSourceScope&) = delete;
  ResourceSourceScope& operator=(const ResourceSourceScope&) = delete;

 private:
  const SModule* former_;
};

}  // namespace limes

extern "C" {

/// Told of a module that joins (joined 1) or leaves (0).
using limes_module_observer = void (*)(const char* name, const char* version, int joined,
                                       void* context);

/// For hosts that load the library by hand: calls the observer for each module present and from
/// then on at each change, the unloading of the library included. Null ends it.
LIMES_EXPORT void limes_observe_modules(limes_module_observer observer, void* context);

/// Number of modules registered.
LIMES_EXPORT unsigned limes_module_count();
}
