#pragma once

#include <functional>

class QAbstractButton;
class QAction;
class QComboBox;
class QLabel;
class QLineEdit;
class QWidget;

/// Ties the controls of a window to the outlets of its controller: a control shows what its outlet
/// holds, and what the user does goes into the outlet and then calls the controller. The outlet
/// must outlive the control. Main thread.
namespace takebox {

class ButtonOutlet;
class CVuMeterView;
class FieldOutlet;
class PopUpOutlet;
class ReadoutView;

using ControlAction = std::function<void()>;

void bindControl(QAbstractButton& button, ButtonOutlet& outlet, ControlAction action);
/// A menu entry that does what a button does, and is on and enabled when the button is.
void bindControl(QAction& entry, ButtonOutlet& outlet, ControlAction action);
/// A text is taken over as it is typed, one that a formatter reads when editing ends; then the
/// action is called if the user has changed anything.
void bindControl(QLineEdit& field, FieldOutlet& outlet, ControlAction action);
void bindControl(QComboBox& popUp, PopUpOutlet& outlet, ControlAction action);
void bindControl(QLabel& label, FieldOutlet& outlet);
/// Coloured by the formatter of the outlet if that colours.
void bindControl(ReadoutView& readout, FieldOutlet& outlet);
void bindControl(CVuMeterView& meter, FieldOutlet& outlet);

/// Ends the editing of a field of the window, as if the focus had left it. Needed before an action
/// that uses what its field's action has taken over: a key command leaves the focus where it is.
void endEditing(QWidget& window);

}  // namespace takebox
