#pragma once

#include <memory>

struct _DNSServiceRef_t;  // NOLINT(bugprone-reserved-identifier): the dns_sd API names it so

namespace takebox {

struct ServiceReferenceDeleter {
    void operator()(_DNSServiceRef_t* reference) const;
};

/// One running operation of the service daemon; letting it go ends the operation.
using ServiceReference = std::unique_ptr<_DNSServiceRef_t, ServiceReferenceDeleter>;

}  // namespace takebox
