// The engine load along the bottom of the main window: the history chart between its scale
// (the trace's height is the load, 0 to 100 %) and a legend that tells what the bar and the
// trace show and the load now.
#pragma once

#include <wxTaviro/wxTaviroColors.h>

class wxBarHistoryCtrl;

class LoadPane : public wxsPanel {
public:
    explicit LoadPane(wxWindow* parent);
    // A new load in percent.
    void Push(unsigned percent);
    wxBarHistoryCtrl* GetChart() const { return m_Chart; }

private:
    wxBarHistoryCtrl* m_Chart;
    wxsStaticText* m_Now;
};
