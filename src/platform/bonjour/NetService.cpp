#include "platform/bonjour/NetService.h"

#include <arpa/inet.h>
#include <dns_sd.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <QSysInfo>
#include <algorithm>
#include <array>
#include <thread>

#include "platform/bonjour/ServiceReference.h"
#include "platform/log/Log.h"

namespace takebox {
namespace {

constexpr std::chrono::milliseconds kLongestRetry = std::chrono::minutes(1);
constexpr std::chrono::milliseconds kForEver(-1);
constexpr int kNoDescriptor = -1;  // poll() passes over it
constexpr int kHighestNameNumber = 100;

}  // namespace

/// What the thread works with. Everything but mWake belongs to the thread once it runs.
class NetService::Publisher {
public:
    Publisher(const QString& domain, const QString& type, const QString& name, std::uint16_t port,
              std::chrono::milliseconds firstRetry)
        : mDomain(domain.toUtf8()),
          mType(type.toUtf8()),
          mName(name.toUtf8()),
          mPort(port),
          mFirstRetry(firstRetry),
          mRetry(firstRetry),
          mWake(eventfd(0, EFD_CLOEXEC)),
          mThread([this] { run(); }) {}

    ~Publisher() {
        const std::uint64_t one = 1;
        // Cannot fail: the counter is far from full.
        [[maybe_unused]] const ssize_t ignored = write(mWake, &one, sizeof one);
        mThread.join();
        close(mWake);
    }

    Publisher(const Publisher&) = delete;
    Publisher& operator=(const Publisher&) = delete;

private:
    void run() {
        pthread_setname_np(pthread_self(), "bonjour");
        for (;;) {
            mError = registerService();
            while (mError == kDNSServiceErr_NoError) {
                if (stopped(DNSServiceRefSockFD(mReference.get()), kForEver)) {
                    return;
                }
                const DNSServiceErrorType error = DNSServiceProcessResult(mReference.get());
                mError = error == kDNSServiceErr_NoError ? mError : error;
            }
            mReference.reset();
            reportFailure();
            if (stopped(kNoDescriptor, mRetry)) {
                return;
            }
            mRetry = std::min(mRetry * 2, kLongestRetry);
        }
    }

    /// Waits until the descriptor is readable or the time is over.
    /// @return true when the destructor has ended the wait.
    [[nodiscard]] bool stopped(int descriptor, std::chrono::milliseconds time) const {
        std::array<pollfd, 2> waiting{{{mWake, POLLIN, 0}, {descriptor, POLLIN, 0}}};
        while (poll(waiting.data(), waiting.size(), static_cast<int>(time.count())) < 0) {
            // A signal; the daemon must not be read from when it has said nothing.
        }
        return waiting[0].revents != 0;
    }

    DNSServiceErrorType registerService() {
        DNSServiceErrorType error = kDNSServiceErr_NoError;
        // The library itself renames for a conflict with another host only.
        for (int number = 1; number <= kHighestNameNumber; ++number) {
            const QByteArray name = candidateName(number);
            DNSServiceRef reference = nullptr;
            error = DNSServiceRegister(
                &reference, 0, 0, name.isEmpty() ? nullptr : name.constData(), mType.constData(),
                mDomain.constData(), nullptr, htons(mPort), 0, nullptr, replied, this);
            if (error != kDNSServiceErr_NameConflict) {
                mReference.reset(reference);
                break;
            }
        }
        return error;
    }

    [[nodiscard]] QByteArray candidateName(int number) const {
        if (number == 1) {
            return mName;
        }
        const QString host = QSysInfo::machineHostName().section(QLatin1Char('.'), 0, 0);
        return (mName.isEmpty() ? host.toUtf8() : mName) + " #" + QByteArray::number(number);
    }

    static void replied(DNSServiceRef /*reference*/, DNSServiceFlags /*flags*/,
                        DNSServiceErrorType error, const char* name, const char* /*type*/,
                        const char* /*domain*/, void* context) {
        auto* const self = static_cast<Publisher*>(context);
        self->mError = error;
        if (error == kDNSServiceErr_NoError) {
            logMessage("Announced on the network as \"%s\", %s port %d", name,
                       self->mType.constData(), self->mPort);
            self->mFailureReported = false;
            self->mRetry = self->mFirstRetry;
        }
    }

    void reportFailure() {
        if (!mFailureReported) {
            logMessage("Not announced on the network (service daemon error %d); trying again",
                       mError);
            mFailureReported = true;
        }
    }

    const QByteArray mDomain;
    const QByteArray mType;
    const QByteArray mName;
    const std::uint16_t mPort;
    const std::chrono::milliseconds mFirstRetry;
    std::chrono::milliseconds mRetry;
    ServiceReference mReference;
    DNSServiceErrorType mError = kDNSServiceErr_NoError;  // of the latest attempt or reply
    bool mFailureReported = false;
    const int mWake;  // eventfd: set by the destructor, waited for by the thread
    std::thread mThread;
};

NetService::NetService(const QString& domain, const QString& type, const QString& name,
                       std::uint16_t port, std::chrono::milliseconds firstRetry)
    : mPublisher(std::make_unique<Publisher>(domain, type, name, port, firstRetry)) {}

NetService::~NetService() = default;

}  // namespace takebox
