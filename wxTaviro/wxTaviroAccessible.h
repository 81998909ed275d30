/// @file
/// What assistive technologies (screen readers, voice control, test robots) see of the
/// library's own drawn controls on GTK. wx 3.2 gives a custom-drawn window no accessibility
/// there: it shows as an unnamed panel. The library answers for its controls itself, through
/// ATK objects of its own: themed buttons, check boxes and radio buttons; text, choice, combo
/// and check-list fields; the notebook's tab strip; the lists and the tree list as tables; the
/// text line viewer as read-only text; the bar chart; the folding panels' headers.
///
/// Nothing is built until an assistive technology asks for a window's object, and a control
/// pays nothing meanwhile: it only marks its GTK widget as one of the library's when it is made
/// (wxsAccessibleRegister, called by the colour management, the buffered window and the chart).
/// Once an object exists, it follows its control by watching the control's repaints and list
/// events, and tells the assistive technology what changed.
///
/// Names: a window's label when it has one (wxWindow::SetLabel names any drawn window), else
/// the label in front of a field, its hint, the notebook page, folding panel or docked pane it
/// sits in, else its tooltip.
#pragma once

class wxWindow;

/// Marks the window's widget as the library's. Cheap; call once the window exists.
/// @ingroup a11y
void wxsAccessibleRegister(wxWindow* window);
