#include "platform/bonjour/ServiceReference.h"

#include <dns_sd.h>

#include <cstdlib>

namespace takebox {
namespace {

// The compatibility library of Avahi tells the user on every call that programs should not use it.
// Set before main(), while no second thread can be reading the environment.
[[maybe_unused]] const int kQuiet = setenv("AVAHI_COMPAT_NOWARN", "1", 0);

}  // namespace

void ServiceReferenceDeleter::operator()(_DNSServiceRef_t* reference) const {
    DNSServiceRefDeallocate(reference);
}

}  // namespace takebox
