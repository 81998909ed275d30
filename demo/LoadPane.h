// The engine load along the bottom of the main window: the history chart between its scale
// (the trace's height is the load, 0 to 100 %) and a legend that tells what the bar and the
// trace show and the load now.
#pragma once

#include <wxTaviro/wxTaviroColors.h>
#include <wxTaviro/wxTimed.h>

class wxBarHistoryCtrl;

// A busy farm reports its load thousands of times a second: the chart takes one sample per
// tick (the latest load), so that its history reads as time and costs a redraw per tick.
class LoadPane : public wxsPanel, public wxTimed {
public:
    explicit LoadPane(wxWindow* parent);
    ~LoadPane() override { StopTimer(); }
    // A new load in percent; shown from the next tick on.
    void Push(unsigned percent);
    void OnTimer() override;
    wxBarHistoryCtrl* GetChart() const { return m_Chart; }

private:
    wxBarHistoryCtrl* m_Chart;
    wxsStaticText* m_Now;
    unsigned m_Latest = 0;
    bool m_Fresh = false;
};
