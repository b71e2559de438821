#include "limes/platform/module.h"

#include <mutex>
#include <utility>

#include "limes/version.h"

namespace limes {

namespace platform {

const char16_t* LibraryText(unsigned id, Language language);  // string_table.cpp

}  // namespace platform

namespace {

/// Made at its first use, so that registrations from any file find it ready.
std::mutex& Mutex() {
  static std::mutex mutex;
  return mutex;
}

// Constant-initialised for the same reason.
constinit CModuleRegistration* gFirst = nullptr;
constinit const SModule* gSource = nullptr;
constinit limes_module_observer gObserver = nullptr;
constinit void* gContext = nullptr;

constexpr SModule kLibrary = {"limes", LIMES_VERSION_STRING, platform::LibraryText};

// In the file of every look-up, so that a static library cannot lose it.
const CModuleRegistration gLibrary(&kLibrary);

void Tell(const SModule& module, int joined) {
  limes_module_observer observer = nullptr;
  void* context = nullptr;
  {
    const std::scoped_lock lock(Mutex());
    observer = gObserver;
    context = gContext;
  }
  if (observer != nullptr) {
    observer(module.name, module.version, joined, context);
  }
}

}  // namespace

CModuleRegistration::CModuleRegistration(const SModule* module) : module_(module) {
  {
    const std::scoped_lock lock(Mutex());
    CModuleRegistration** end = &gFirst;
    while (*end != nullptr) {
      end = &(*end)->next_;
    }
    *end = this;
  }
  Tell(*module_, 1);
}

CModuleRegistration::~CModuleRegistration() {
  {
    const std::scoped_lock lock(Mutex());
    CModuleRegistration** at = &gFirst;
    while (*at != nullptr && *at != this) {
      at = &(*at)->next_;
    }
    if (*at == this) {
      *at = next_;
    }
    if (gSource == module_) {
      gSource = nullptr;
    }
  }
  Tell(*module_, 0);
}

std::vector<ModuleRegistry::Entry> ModuleRegistry::Modules() {
  const std::scoped_lock lock(Mutex());
  std::vector<Entry> entries;
  for (const CModuleRegistration* at = gFirst; at != nullptr; at = at->next_) {
    entries.push_back({at->module_->name, at->module_->version});
  }
  return entries;
}

const SModule* ModuleRegistry::Library() { return &kLibrary; }

const SModule* ModuleRegistry::SetResourceSource(const SModule* module) {
  const std::scoped_lock lock(Mutex());
  return std::exchange(gSource, module);
}

const char16_t* ModuleRegistry::FindText(unsigned id, platform::Language language) {
  const std::scoped_lock lock(Mutex());
  const auto find = [=](const SModule* module) {
    return module == nullptr || module->text == nullptr ? nullptr : module->text(id, language);
  };
  const char16_t* text = find(gSource);
  for (const CModuleRegistration* at = gFirst; text == nullptr && at != nullptr; at = at->next_) {
    text = find(at->module_);
  }
  return text;
}

}  // namespace limes

void limes_observe_modules(limes_module_observer observer, void* context) {
  {
    const std::scoped_lock lock(limes::Mutex());
    limes::gObserver = observer;
    limes::gContext = context;
  }
  if (observer != nullptr) {
    for (const auto& entry : limes::ModuleRegistry::Modules()) {
      observer(entry.name.c_str(), entry.version.c_str(), 1, context);
    }
  }
}

unsigned limes_module_count() {
  return static_cast<unsigned>(limes::ModuleRegistry::Modules().size());
}
