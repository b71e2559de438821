#include "limes/platform/module.h"

#include <mutex>
#include <utility>

#include "limes/version.h"

namespace limes {

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

constexpr SModule kLibrary = {"limes", LIMES_VERSION_STRING, detail::LibraryText};

const SModule* Source() {
  const std::scoped_lock lock(Mutex());
  return gSource;
}

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

const SModule* ModuleRegistry::At(unsigned i) {
  const std::scoped_lock lock(Mutex());
  const CModuleRegistration* at = gFirst;
  for (; at != nullptr && i > 0; --i) {
    at = at->next_;
  }
  return at == nullptr ? nullptr : at->module_;
}

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
  std::vector<Entry> entries;
  for (unsigned i = 0; const SModule* const module = At(i); ++i) {
    entries.push_back({module->name, module->version});
  }
  return entries;
}

const SModule* ModuleRegistry::Library() { return &kLibrary; }

const SModule* ModuleRegistry::SetResourceSource(const SModule* module) {
  const std::scoped_lock lock(Mutex());
  return std::exchange(gSource, module);
}

const char16_t* ModuleRegistry::FindText(unsigned id, platform::Language language) {
  const auto find = [=](const SModule* module) {
    return module == nullptr || module->text == nullptr ? nullptr : module->text(id, language);
  };
  const char16_t* text = find(Source());
  const SModule* module = nullptr;
  for (unsigned i = 0; text == nullptr && (module = At(i)) != nullptr; ++i) {
    text = find(module);
  }
  return text;
}

wide_string LoadString(unsigned id) {
  const char16_t* const text = ModuleRegistry::FindText(id, platform::CurrentLanguage());
  return text == nullptr ? wide_string() : wide_string(text);
}

}  // namespace limes

void limes_observe_modules(limes_module_observer observer, void* context) {
  {
    const std::scoped_lock lock(limes::Mutex());
    limes::gObserver = observer;
    limes::gContext = context;
  }
  if (observer != nullptr) {
    for (unsigned i = 0; const auto* const module = limes::ModuleRegistry::At(i); ++i) {
      observer(module->name, module->version, 1, context);
    }
  }
}

unsigned limes_module_count() {
  unsigned count = 0;
  while (limes::ModuleRegistry::At(count) != nullptr) {
    ++count;
  }
  return count;
}
