#pragma once

#include <memory>
#include <vector>

#include "platform/Environment.h"
#include "runtime/RuntimeUsageProvider.h"

namespace vantry {

/// The runtimes that are read, in the order in which they are shown.
class RuntimeProviderRegistry {
  public:
    using Providers = std::vector<std::shared_ptr<const RuntimeUsageProvider>>;

    /// Codex alone, or nothing where VANTRY_RUNTIME_FILTER leaves it out.
    explicit RuntimeProviderRegistry(const Environment& environment = processEnvironment);

    /// The given providers, less those that VANTRY_RUNTIME_FILTER leaves out: a list of ids, with
    /// commas between them, in any case. A list without any id filters nothing.
    explicit RuntimeProviderRegistry(Providers providers,
                                     const Environment& environment = processEnvironment);

    const Providers& providers() const { return providers_; }

    /// The first provider of the scope, or nothing.
    const RuntimeUsageProvider* provider(RuntimeScope scope) const;

  private:
    Providers providers_;
};

}  // namespace vantry
