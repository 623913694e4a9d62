// The module's one door: programs that need no session do not load what follows.

#include <new>

#include "adapters/secrets/libsecret_store.h"

/// A new store, or null when there is no memory. The caller owns it.
extern "C" [[gnu::visibility("default")]] tolvik::SecretStore* tolvikMakeSecretStore();

tolvik::SecretStore* tolvikMakeSecretStore() {
    return new (std::nothrow) tolvik::LibsecretStore();
}
