#include <malloc.h>

#include <QApplication>
#include <QCoreApplication>
#include <QDir>
#include <QTemporaryDir>
#include <clocale>
#include <cstdio>

#include "app/CTapedeckApplication.h"
#include "app/Diagnose.h"
#include "app/HeadlessInterface.h"
#include "app/Options.h"
#include "app/RecordRun.h"
#include "app/RecoverFiles.h"
#include "app/SingleInstance.h"
#include "app/TerminationSignals.h"
#include "app/desktop/DesktopInterface.h"
#include "platform/defaults/Defaults.h"
#include "platform/log/Log.h"
#include "platform/runloop/LogPump.h"
#include "remote/RemoteTools.h"

namespace takebox {
namespace {

/// Once the application object is there.
void prepareApplication() {
    // It has taken over the user's locale, and with it a comma in the numbers of Lua and others,
    // and the system's messages in the log in another language than ours.
    std::setlocale(LC_NUMERIC, "C");
    std::setlocale(LC_MESSAGES, "C");
    QCoreApplication::setApplicationName(QStringLiteral("takebox"));
    QCoreApplication::setApplicationVersion(QStringLiteral(TAKEBOX_VERSION));
}

/// Records once. Nothing of it touches the user's preferences.
int runRecording(const Options& options, UserInterface& interface) {
    const QTemporaryDir scratch;
    Defaults::standard().reopen(scratch.filePath(QStringLiteral("once.plist")));
    CTapedeckApplication::initialize();
    CTapedeckApplication application(options, interface);
    if (!application.finishLaunching()) {
        return 1;
    }
    RecordRun run(*options.recordSeconds, options.recordFolder);
    QObject::connect(&run, &RecordRun::finished,
                     [](int status) { QCoreApplication::exit(status); });
    const TerminationSignals signals([&run](int) { run.interrupt(); });
    run.start();
    return QCoreApplication::exec();
}

/// A second start brings up the windows of the first; nothing else of it can be done.
int endSecondStart(bool hasWindows, QStringList arguments) {
    const bool wantsNone = !hasWindows && arguments.removeAll(QStringLiteral("--headless")) > 0;
    logMessage(hasWindows ? "The program runs already; its windows come to the front"
                          : "The program runs already, without windows");
    if (!arguments.isEmpty()) {
        logMessage("Ignored, because the program runs already: %s",
                   arguments.join(QLatin1Char(' ')).toLocal8Bit().constData());
    }
    return (hasWindows || wantsNone) && arguments.isEmpty() ? 0 : 1;
}

int runRecorder(const Options& options, UserInterface& interface) {
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    switch (SingleInstance::claim(arguments)) {
        case SingleInstance::Outcome::kFirst:
            break;
        case SingleInstance::Outcome::kHandedOver:
            return endSecondStart(true, arguments);
        case SingleInstance::Outcome::kNoWindows:
            return endSecondStart(false, arguments);
        case SingleInstance::Outcome::kNoAnswer:
            return 1;
    }
    CTapedeckApplication::initialize();
    CTapedeckApplication application(options, interface);
    interface.setApplication(&application);
    const TerminationSignals signals([&application](int) { application.terminate(); });
    if (application.finishLaunching()) {
        interface.deviceListDidChange();
    }
    const int status = QCoreApplication::exec();
    interface.setApplication(nullptr);
    return status;
}

int runHeadless(int argc, char** argv, const Options& options) {
    // Only desktops have a use for GLib's event loop; Qt's own takes less time to wake up.
    const QByteArray before = qgetenv("QT_NO_GLIB");
    qputenv("QT_NO_GLIB", "1");
    const QCoreApplication application(argc, argv);
    // The programs that scripts start may see it otherwise.
    static_cast<void>(before.isNull() ? qunsetenv("QT_NO_GLIB") : qputenv("QT_NO_GLIB", before));
    prepareApplication();
    const LogPump logPump;
    HeadlessInterface interface;
    return options.recordSeconds ? runRecording(options, interface)
                                 : runRecorder(options, interface);
}

int runDesktop(int argc, char** argv, const Options& options) {
    const bool hasDisplay = !qEnvironmentVariableIsEmpty("DISPLAY") ||
                            !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") ||
                            !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM");
    if (!hasDisplay) {
        fputs(
            "takebox: there is no display; run it with --headless, or record once with "
            "--record SECONDS --to DIR.\n",
            stderr);
        return 1;
    }
    const QApplication application(argc, argv);
    prepareApplication();
    // Desktops find name, icon and actions of the windows by it.
    QGuiApplication::setDesktopFileName(QStringLiteral("com.marvanemedia.TakeboxDV"));
    const LogPump logPump;
    DesktopInterface interface;
    return runRecorder(options, interface);
}

int runTool(int argc, char** argv, const Options& options) {
    const QCoreApplication application(argc, argv);
    prepareApplication();
    if (options.diagnose) {
        return runDiagnose(options.recordFolder.isEmpty() ? QDir::homePath()
                                                          : options.recordFolder);
    }
    if (options.discover) {
        return runDiscover();
    }
    if (!options.recoverPaths.isEmpty()) {
        return runRecover(options.recoverPaths);
    }
    if (!options.checkPlayoutAddress.isEmpty()) {
        return runCheckPlayout(options.checkPlayoutAddress);
    }
    return runRemoteCommand(options.remoteCommand);
}

bool isTool(const Options& options) {
    return options.discover || options.diagnose || !options.remoteCommand.isEmpty() ||
           !options.checkPlayoutAddress.isEmpty() || !options.recoverPaths.isEmpty();
}

/// The buffers of a recording go back to the system when it ends: otherwise the heap keeps them, in
/// other places for each recording.
void keepLargeBuffersOutOfTheHeap() {
    constexpr int kLargeBuffer = 64 * 1024;
    mallopt(M_MMAP_THRESHOLD, kLargeBuffer);
}

int run(int argc, char** argv) {
    keepLargeBuffersOutOfTheHeap();
    QStringList arguments;
    for (int i = 0; i < argc; ++i) {
        arguments << QString::fromLocal8Bit(argv[i]);
    }
    const ParsedOptions parsed = parseOptions(arguments);
    if (!parsed.options) {
        fputs(parsed.text.toLocal8Bit().constData(), parsed.exitStatus == 0 ? stdout : stderr);
        return parsed.exitStatus;
    }
    if (isTool(*parsed.options)) {
        return runTool(argc, argv, *parsed.options);
    }
    // Before any thread starts, so that all of them inherit it.
    TerminationSignals::block();
    return parsed.options->headless || parsed.options->recordSeconds
               ? runHeadless(argc, argv, *parsed.options)
               : runDesktop(argc, argv, *parsed.options);
}

}  // namespace
}  // namespace takebox

int main(int argc, char** argv) {
    return takebox::run(argc, argv);
}
