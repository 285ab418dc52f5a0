#include "OutletBinding.h"

#include <QAbstractButton>
#include <QAction>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QSignalBlocker>
#include <utility>

#include "display/CDiskTimeFormatter.h"
#include "display/Outlets.h"
#include "display/meters/CVuMeterView.h"
#include "display/widgets/ReadoutView.h"

namespace takebox {
namespace {

// Shows the outlet now and whenever it changes, for as long as the control lives.
template <typename Control, typename Show>
void follow(Control& control, ControlOutlet& outlet, Show show) {
    show();
    QObject::connect(&outlet, &ControlOutlet::changed, &control, show);
}

}  // namespace

void bindControl(QAbstractButton& button, ButtonOutlet& outlet, ControlAction action) {
    follow(button, outlet, [&button, &outlet] {
        button.setChecked(outlet.state());
        button.setEnabled(outlet.isEnabled());
    });
    QObject::connect(&button, &QAbstractButton::clicked, &button,
                     [&button, &outlet, action = std::move(action)](bool isOn) {
                         endEditing(*button.window());
                         outlet.setState(isOn);
                         action();
                     });
}

void bindControl(QAction& entry, ButtonOutlet& outlet, ControlAction action) {
    follow(entry, outlet, [&entry, &outlet] {
        entry.setChecked(outlet.state());
        entry.setEnabled(outlet.isEnabled());
    });
    QObject::connect(&entry, &QAction::triggered, &entry,
                     [&outlet, action = std::move(action)](bool isOn) {
                         outlet.setState(isOn);
                         action();
                     });
}

void bindControl(QLineEdit& field, FieldOutlet& outlet, ControlAction action) {
    follow(field, outlet, [&field, &outlet] {
        field.setEnabled(outlet.isEnabled());
        if (field.text() != outlet.stringValue()) {  // else it may be just being typed
            field.setText(outlet.stringValue());
        }
    });
    // What can be read on the screen counts, also for those who start a recording from elsewhere.
    QObject::connect(&field, &QLineEdit::textEdited, &field, [&outlet](const QString& text) {
        if (outlet.formatter() == nullptr) {
            outlet.setStringValue(text);
        }
    });
    QObject::connect(&field, &QLineEdit::editingFinished, &field,
                     [&field, &outlet, action = std::move(action)] {
                         if (!field.isModified()) {
                             return;
                         }
                         field.setModified(false);
                         if (outlet.setEditedText(field.text())) {
                             field.setText(outlet.stringValue());
                             action();
                         }
                     });
}

void bindControl(QComboBox& popUp, PopUpOutlet& outlet, ControlAction action) {
    follow(popUp, outlet, [&popUp, &outlet] {
        const QSignalBlocker blocker(popUp);
        popUp.setCurrentIndex(outlet.indexOfSelectedItem());
        popUp.setEnabled(outlet.isEnabled());
    });
    QObject::connect(&popUp, &QComboBox::currentIndexChanged, &popUp,
                     [&outlet, action = std::move(action)](int index) {
                         outlet.selectItemAtIndex(index);
                         action();
                     });
}

void bindControl(QLabel& label, FieldOutlet& outlet) {
    follow(label, outlet, [&label, &outlet] { label.setText(outlet.stringValue()); });
}

void bindControl(ReadoutView& readout, FieldOutlet& outlet) {
    follow(readout, outlet, [&readout, &outlet] {
        const auto* coloring = dynamic_cast<const CDiskTimeFormatter*>(outlet.formatter());
        if (coloring == nullptr) {
            readout.setText(outlet.stringValue());
            return;
        }
        const AttributedString shown =
            coloring->attributedStringForObjectValue(outlet.objectValue(), {});
        readout.setText(shown.string);
        readout.setColor(shown.color());
    });
}

void bindControl(CVuMeterView& meter, FieldOutlet& outlet) {
    follow(meter, outlet, [&meter, &outlet] { meter.setDoubleValue(outlet.doubleValue()); });
}

void endEditing(QWidget& window) {
    for (QLineEdit* field : window.findChildren<QLineEdit*>()) {
        if (field->isModified()) {
            Q_EMIT field->editingFinished();
        }
    }
}

}  // namespace takebox
