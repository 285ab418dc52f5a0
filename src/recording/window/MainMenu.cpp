#include "MainMenu.h"

#include <QAction>
#include <QApplication>
#include <QCoreApplication>
#include <QMenu>
#include <array>

#include "ApplicationCommands.h"
#include "capture/CDVDevicesController.h"
#include "display/widgets/LiteralText.h"
#include "recording/CDVDeviceWindowController.h"

namespace takebox {
namespace {

QString text(const char* source) {
    return QCoreApplication::translate("MainMenu", source);
}

void addFileMenu(QMenuBar& menuBar, ApplicationCommands& commands) {
    QMenu* menu = menuBar.addMenu(text(QT_TRANSLATE_NOOP("MainMenu", "&File")));
    QAction* schedule =
        menu->addAction(text(QT_TRANSLATE_NOOP("MainMenu", "Scheduled &Recordings…")),
                        QKeySequence(QStringLiteral("Ctrl+E")));
    QObject::connect(schedule, &QAction::triggered, &menuBar,
                     [&commands] { commands.editScheduledEvents(); });
    QAction* preferences = menu->addAction(text(QT_TRANSLATE_NOOP("MainMenu", "&Preferences…")),
                                           QKeySequence(QStringLiteral("Ctrl+,")));
    QObject::connect(preferences, &QAction::triggered, &menuBar,
                     [&commands] { commands.showPreferencePanel(); });
    menu->addSeparator();
    QAction* close = menu->addAction(text(QT_TRANSLATE_NOOP("MainMenu", "&Close Window")),
                                     QKeySequence(QStringLiteral("Ctrl+W")));
    QObject::connect(close, &QAction::triggered, menuBar.window(), &QWidget::close);
    QAction* quit = menu->addAction(text(QT_TRANSLATE_NOOP("MainMenu", "&Quit")),
                                    QKeySequence(QStringLiteral("Ctrl+Q")));
    QObject::connect(quit, &QAction::triggered, &menuBar, [&commands] { commands.terminate(); });
}

// The text fields have these commands; the menu passes them to the one that has the focus.
struct EditCommand {
    const char* title;
    QKeySequence::StandardKey key;
    const char* slot;
};
constexpr std::array kEditCommands{
    EditCommand{QT_TRANSLATE_NOOP("MainMenu", "&Undo"), QKeySequence::Undo, "undo"},
    EditCommand{QT_TRANSLATE_NOOP("MainMenu", "&Redo"), QKeySequence::Redo, "redo"},
    EditCommand{QT_TRANSLATE_NOOP("MainMenu", "Cu&t"), QKeySequence::Cut, "cut"},
    EditCommand{QT_TRANSLATE_NOOP("MainMenu", "&Copy"), QKeySequence::Copy, "copy"},
    EditCommand{QT_TRANSLATE_NOOP("MainMenu", "&Paste"), QKeySequence::Paste, "paste"},
    EditCommand{QT_TRANSLATE_NOOP("MainMenu", "Select &All"), QKeySequence::SelectAll, "selectAll"},
};

void addEditMenu(QMenuBar& menuBar) {
    QMenu* menu = menuBar.addMenu(text(QT_TRANSLATE_NOOP("MainMenu", "&Edit")));
    for (const EditCommand& command : kEditCommands) {
        QAction* action = menu->addAction(text(command.title), QKeySequence(command.key));
        QObject::connect(action, &QAction::triggered, &menuBar, [slot = command.slot] {
            QWidget* field = QApplication::focusWidget();
            if (field != nullptr &&
                field->metaObject()->indexOfSlot(QByteArray(slot).append("()").constData()) >= 0) {
                QMetaObject::invokeMethod(field, slot);
            }
        });
    }
}

// Decks come and go, so their entries are made whenever the menu opens.
void fillWindowMenu(QMenu& menu) {
    menu.clear();
    if (!gDVDevicesController || !gDVDevicesController->hasDVDevice()) {
        menu.addAction(text(QT_TRANSLATE_NOOP("MainMenu", "No Deck")))->setEnabled(false);
        return;
    }
    for (const auto& entry : gDVDevicesController->devices()) {
        const auto controller = std::dynamic_pointer_cast<CDVDeviceWindowController>(entry);
        QAction* action =
            menu.addAction(controller ? menuText(controller->deviceName()) : QString());
        QObject::connect(action, &QAction::triggered, &menu, [weak = std::weak_ptr(entry)] {
            if (const auto deck = weak.lock()) {
                deck->showWindow();
            }
        });
    }
}

}  // namespace

void makeMainMenu(QMenuBar& menuBar, ApplicationCommands& commands, QMenu* ownMenu) {
    addFileMenu(menuBar, commands);
    addEditMenu(menuBar);
    if (ownMenu != nullptr) {
        ownMenu->setParent(&menuBar, ownMenu->windowFlags());
        menuBar.addMenu(ownMenu);
    }
    if (commands.needsDockMenu()) {
        QMenu* decks = menuBar.addMenu(text(QT_TRANSLATE_NOOP("MainMenu", "A&ll Decks")));
        QObject::connect(decks, &QMenu::aboutToShow, decks,
                         [decks, &commands] { commands.fillDockMenu(*decks); });
    }
    QMenu* windows = menuBar.addMenu(text(QT_TRANSLATE_NOOP("MainMenu", "&Window")));
    QObject::connect(windows, &QMenu::aboutToShow, windows,
                     [windows] { fillWindowMenu(*windows); });
    QMenu* help = menuBar.addMenu(text(QT_TRANSLATE_NOOP("MainMenu", "&Help")));
    QAction* about = help->addAction(text(QT_TRANSLATE_NOOP("MainMenu", "&About Takebox DV")));
    QObject::connect(about, &QAction::triggered, &menuBar,
                     [&commands] { commands.orderFrontStandardAboutPanel(); });
}

}  // namespace takebox
