#pragma once

#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariant>

#include "display/Formatter.h"

/// The controls of a window as their controller sees them. They hold the truth whether or not a
/// window is on the screen: a program without a display runs the same controllers, and a window,
/// when there is one, shows the outlets and passes on what the user does. Main thread.
namespace takebox {

class ControlOutlet : public QObject {
    Q_OBJECT

public:
    [[nodiscard]] bool isEnabled() const { return mIsEnabled; }
    void setEnabled(bool enabled);

Q_SIGNALS:
    /// Something that a window shows has changed.
    void changed();

protected:
    /// Stores and announces a value that differs from the old one.
    template <typename T>
    void change(T& field, const T& value) {
        if (field != value) {
            field = value;
            Q_EMIT changed();
        }
    }

private:
    bool mIsEnabled = true;
};

/// A push button, two-state button or check box.
class ButtonOutlet : public ControlOutlet {
    Q_OBJECT

public:
    /// On or off; off for plain push buttons.
    [[nodiscard]] bool state() const { return mState; }
    void setState(bool on) { change(mState, on); }

private:
    bool mState = false;
};

/// A field that shows, and may let the user edit, a text or a number through a formatter.
class FieldOutlet : public ControlOutlet {
    Q_OBJECT

public:
    /// Not owned; must outlive the field. Null shows values as they are.
    void setFormatter(const Formatter* formatter);
    [[nodiscard]] const Formatter* formatter() const { return mFormatter; }

    void setStringValue(const QString& text) { setObjectValue(text); }
    void setDoubleValue(double value) { setObjectValue(value); }
    void setObjectValue(const QVariant& value) { change(mValue, value); }

    [[nodiscard]] const QVariant& objectValue() const { return mValue; }
    /// What the field shows.
    [[nodiscard]] QString stringValue() const;
    /// The value as a number; the leading number of a text, 0 without one.
    [[nodiscard]] double doubleValue() const;

    /// Takes what the user has typed. @return false, and the value stays, when the formatter
    /// refuses the text.
    bool setEditedText(const QString& text);

private:
    const Formatter* mFormatter = nullptr;
    QVariant mValue;
};

/// A choice out of a list of fixed items.
class PopUpOutlet : public ControlOutlet {
    Q_OBJECT

public:
    [[nodiscard]] int indexOfSelectedItem() const { return mIndex; }
    void selectItemAtIndex(int index) { change(mIndex, index); }

private:
    int mIndex = 0;
};

}  // namespace takebox
