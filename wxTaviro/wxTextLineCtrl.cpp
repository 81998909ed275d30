// Sections: text helpers (UTF-8 steps, the block search); line store; construction; lines;
// selection, clipboard and file; scroll-bar settling; search; mouse, keys and menu; painting;
// search panel.
#include <wxTaviro/wxConfirmDlg.h>
#include <wxTaviro/wxTaviroApp.h>
#include <wxTaviro/wxTextLineCtrl.h>

#include <ostrum/Application.h>
#include <ostrum/CallTrace.h>
#include <ostrum/Exception.h>
#include <ostrum/File.h>
#include <ostrum/IniFile.h>
#include <ostrum/Log.h>

#include <wx/clipbrd.h>
#include <wx/dcclient.h>
#include <wx/dcmemory.h>
#include <wx/filedlg.h>
#include <wx/generic/msgdlgg.h>
#include <wx/menu.h>
#include <wx/sizer.h>
#include <wx/utils.h>

#include <algorithm>
#include <climits>
#include <cstring>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace {

// ---- text helpers ----

enum {
    k_IdSelectAll = 7301,
    k_IdSelectNone = 7302,
    k_IdCopy = 7303,
    k_IdTop = 7304,
    k_IdBottom = 7305,
    k_IdSaveAs = 7306,
    k_IdSearch = 7307,
};

constexpr size_t k_FirstBlock = size_t(64) << 10;
constexpr size_t k_MaxBlock = size_t(4) << 20;

inline unsigned char Fold(unsigned char c) {
    return c >= 'A' && c <= 'Z' ? c + 32 : c;
}

// One character of possibly broken UTF-8: its code point and its bytes. A byte that starts no
// valid sequence is one character of its own (U+FFFD), so counting and drawing agree on any
// input.
size_t NextChar(const unsigned char* p, const unsigned char* end, wchar_t* cp) {
    const unsigned char c = *p;
    if (c < 0x80) {
        *cp = c;
        return 1;
    }
    size_t n = c >= 0xF0 && c <= 0xF4 ? 4 : c >= 0xE0 ? 3 : c >= 0xC2 && c < 0xE0 ? 2 : 0;
    if (n == 0 || size_t(end - p) < n) {
        *cp = 0xFFFD;
        return 1;
    }
    uint32_t v = c & (0x7F >> n);
    for (size_t i = 1; i < n; ++i) {
        if ((p[i] & 0xC0) != 0x80) {
            *cp = 0xFFFD;
            return 1;
        }
        v = (v << 6) | (p[i] & 0x3F);
    }
    // Overlong forms and surrogates are as broken as a stray byte.
    if ((n == 3 && (v < 0x800 || (v >= 0xD800 && v < 0xE000))) ||
        (n == 4 && (v < 0x10000 || v > 0x10FFFF))) {
        *cp = 0xFFFD;
        return 1;
    }
    *cp = wchar_t(v);
    return n;
}

size_t CharCount(std::string_view s) {
    auto* p = (const unsigned char*)s.data();
    auto* end = p + s.size();
    size_t count = 0;
    wchar_t cp;
    while (p < end) {
        if (*p < 0x80) {
            ++p;
        } else {
            p += NextChar(p, end, &cp);
        }
        ++count;
    }
    return count;
}

// Characters [first, first + max) of the line (max -1: all the rest). With `visible`, control
// bytes show as their control pictures, so a NUL neither ends the text nor vanishes.
wxString Decode(std::string_view s, size_t first = 0, long max = -1, bool visible = false) {
    auto* p = (const unsigned char*)s.data();
    auto* end = p + s.size();
    std::wstring out;
    size_t index = 0;
    wchar_t cp;
    while (p < end && (max < 0 || long(out.size()) < max)) {
        p += NextChar(p, end, &cp);
        if (index++ < first) continue;
        if (cp == 0)
            cp = 0x2400;
        else if (visible && cp < 0x20)
            cp = wchar_t(0x2400 + cp);
        else if (visible && cp == 0x7F)
            cp = 0x2421;
        out.push_back(cp);
    }
    return wxString(out);
}

// How common a byte is in log text: the search scans for the two rarest bytes of the needle,
// which keeps false candidates (and their verification) rare.
int Commonness(unsigned char c) {
    static const char k_Order[] = " etaoinsr012hld:.cum-fpg534678[]9wyb/v_k=,xjqz";
    const char* at = c ? strchr(k_Order, Fold(c)) : nullptr;
    return at ? int(sizeof(k_Order) - (at - k_Order)) : 0;
}

// A search text prepared for scanning big blocks: two probe bytes (both cases when folding)
// compared 16 positions at a time, then a full comparison at each candidate.
class _Needle {
public:
    _Needle(std::string_view text, bool caseSensitive)
        : m_Text((const unsigned char*)text.data()), m_Length(text.size()), m_Fold(!caseSensitive) {
        for (size_t i = 0; i < m_Length; ++i)
            if (Commonness(m_Text[i]) < Commonness(m_Text[m_I1])) m_I1 = i;
        m_I2 = m_I1;
        for (size_t i = 0; i < m_Length; ++i)
            if (i != m_I1 && (m_I2 == m_I1 || Commonness(m_Text[i]) < Commonness(m_Text[m_I2])))
                m_I2 = i;
        Probe(m_Text[m_I1], &m_Lo1, &m_Up1);
        Probe(m_Text[m_I2], &m_Lo2, &m_Up2);
    }

    size_t Length() const { return m_Length; }

    // First occurrence in [p, p + size), or null.
    const char* Find(const char* p, size_t size) const {
        if (size < m_Length) return nullptr;
        const size_t last = size - m_Length; // the last possible start
        size_t s = 0;
        auto* u = (const unsigned char*)p;
#ifdef __SSE2__
        const __m128i lo1 = _mm_set1_epi8(char(m_Lo1)), up1 = _mm_set1_epi8(char(m_Up1));
        const __m128i lo2 = _mm_set1_epi8(char(m_Lo2)), up2 = _mm_set1_epi8(char(m_Up2));
        for (; s + 16 <= last + 1; s += 16) {
            const __m128i a = _mm_loadu_si128((const __m128i*)(u + s + m_I1));
            const __m128i b = _mm_loadu_si128((const __m128i*)(u + s + m_I2));
            const __m128i m =
                _mm_and_si128(_mm_or_si128(_mm_cmpeq_epi8(a, lo1), _mm_cmpeq_epi8(a, up1)),
                              _mm_or_si128(_mm_cmpeq_epi8(b, lo2), _mm_cmpeq_epi8(b, up2)));
            unsigned mask = unsigned(_mm_movemask_epi8(m));
            while (mask) {
                const size_t at = s + size_t(__builtin_ctz(mask));
                if (Match(u + at)) return p + at;
                mask &= mask - 1;
            }
        }
#endif
        for (; s <= last; ++s) {
            const unsigned char a = u[s + m_I1], b = u[s + m_I2];
            if ((a == m_Lo1 || a == m_Up1) && (b == m_Lo2 || b == m_Up2) && Match(u + s))
                return p + s;
        }
        return nullptr;
    }

private:
    void Probe(unsigned char c, unsigned char* lo, unsigned char* up) const {
        *lo = *up = c;
        if (!m_Fold) return;
        *lo = Fold(c);
        *up = *lo >= 'a' && *lo <= 'z' ? *lo - 32 : *lo;
    }
    bool Match(const unsigned char* p) const {
        if (!m_Fold) return memcmp(p, m_Text, m_Length) == 0;
        for (size_t i = 0; i < m_Length; ++i)
            if (Fold(p[i]) != Fold(m_Text[i])) return false;
        return true;
    }

    const unsigned char* m_Text;
    size_t m_Length;
    bool m_Fold;
    size_t m_I1 = 0, m_I2 = 0;
    unsigned char m_Lo1, m_Up1, m_Lo2, m_Up2;
};

struct _FontExtents {
    int charWidth = 0;
    int lineHeight = 0;
    wxFont font;
};
_FontExtents* s_FontExtents = nullptr; // shared by every control, never freed

const _FontExtents& FontExtents() {
    if (!s_FontExtents) {
        auto* f = new _FontExtents;
        f->font = wxFont(9, wxFONTFAMILY_MODERN, wxFONTSTYLE_NORMAL, wxFONTWEIGHT_NORMAL, false,
                         wxEmptyString);
        wxBitmap bitmap(100, 100, 1);
        wxMemoryDC dc(bitmap);
        dc.SetFont(f->font);
        const wxSize extent = dc.GetTextExtent("M");
        f->charWidth = std::max(1, extent.x);
        f->lineHeight = std::max(1, extent.y);
        s_FontExtents = f;
    }
    return *s_FontExtents;
}

// An unset palette slot (no scheme loaded yet) paints with a plain fallback.
wxColour Or(const wxColour& colour, const wxColour& fallback) {
    return colour.IsOk() ? colour : fallback;
}

wxColour Inverse(const wxColour& c) {
    return wxColour(255 - c.Red(), 255 - c.Green(), 255 - c.Blue());
}

wxColour Blend25(const wxColour& top, const wxColour& under) {
    auto mix = [](int a, int b) {
        return (unsigned char)std::clamp(int(0.25 * a + 0.75 * b), 0, 255);
    };
    return wxColour(mix(top.Red(), under.Red()), mix(top.Green(), under.Green()),
                    mix(top.Blue(), under.Blue()));
}

} // namespace

// ---- line store ----

char* _TextLineStore::Reserve(size_t bytes, uint32_t* block, uint32_t* offset) {
    if (m_Blocks.empty() || m_Blocks.back().capacity - m_Blocks.back().used < bytes) {
        const size_t grown =
            m_Blocks.empty() ? k_FirstBlock : std::min(k_MaxBlock, m_Blocks.back().capacity * 2);
        _Block b;
        b.capacity = std::max(bytes, grown);
        b.data.reset(new char[b.capacity]);
        m_Blocks.push_back(std::move(b));
    }
    _Block& b = m_Blocks.back();
    *block = uint32_t(m_Blocks.size() - 1);
    *offset = uint32_t(b.used);
    b.used += bytes;
    return b.data.get() + *offset;
}

std::string _TextLineStore::Expanded(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (char c : text)
        if (c == '\t')
            out += "    ";
        else
            out += c;
    return out;
}

void _TextLineStore::Insert(int index, const char* data, size_t length) {
    size_t tabs = 0;
    for (const char* p = data; (p = (const char*)memchr(p, '\t', length - (p - data))); ++p)
        ++tabs;
    const size_t size = length + 3 * tabs;
    _Ref ref{0, 0, uint32_t(size)};
    char* out = Reserve(size + 1, &ref.block, &ref.offset);
    if (!tabs) {
        memcpy(out, data, length);
    } else {
        for (size_t i = 0; i < length; ++i) {
            if (data[i] == '\t') {
                memcpy(out, "    ", 4);
                out += 4;
            } else {
                *out++ = data[i];
            }
        }
        out -= size;
    }
    out[size] = '\n';
    if (size_t(index) != size_t(Count())) m_InOrder = false;
    m_Lines.insert(m_Lines.begin() + long(m_First) + index, ref);
}

void _TextLineStore::Erase(int index) {
    m_Dead += Ref(index).length + 1;
    m_Lines.erase(m_Lines.begin() + long(m_First) + index);
    CompactIfHoley();
}

void _TextLineStore::DropFront(int count) {
    count = std::min(count, Count());
    if (count <= 0) return;
    for (int i = 0; i < count; ++i)
        m_Dead += Ref(i).length + 1;
    m_First += size_t(count);
    // The records of dropped lines go in bulk, once they are half the vector.
    if (m_First > 4096 && m_First * 2 > m_Lines.size()) {
        m_Lines.erase(m_Lines.begin(), m_Lines.begin() + long(m_First));
        m_First = 0;
    }
    if (m_InOrder && Count() > 0) {
        // In line order, every block before the first line's is dead text: freed at once.
        for (uint32_t b = 0; b < Ref(0).block; ++b) {
            _Block& dead = m_Blocks[b];
            if (!dead.data) continue;
            m_Dead -= std::min(m_Dead, dead.used);
            dead.data.reset();
            dead.used = dead.capacity = 0;
        }
    }
    CompactIfHoley();
}

void _TextLineStore::CompactIfHoley() {
    size_t used = 0;
    for (const _Block& b : m_Blocks)
        used += b.used;
    // Holes may take as much as the live text, never more.
    if (m_Dead > (size_t(1) << 20) && m_Dead * 2 > used) Compact();
}

void _TextLineStore::Clear() {
    std::vector<_Block>().swap(m_Blocks);
    std::vector<_Ref>().swap(m_Lines);
    m_First = 0;
    m_InOrder = true;
    m_Dead = 0;
}

void _TextLineStore::Compact() {
    std::vector<_Block> old;
    old.swap(m_Blocks);
    m_Lines.erase(m_Lines.begin(), m_Lines.begin() + long(m_First));
    m_First = 0;
    for (_Ref& r : m_Lines) {
        const char* text = old[r.block].data.get() + r.offset;
        char* out = Reserve(size_t(r.length) + 1, &r.block, &r.offset);
        memcpy(out, text, size_t(r.length) + 1);
    }
    m_InOrder = true;
    m_Dead = 0;
}

size_t _TextLineStore::MemoryUsed() const {
    size_t bytes = m_Lines.capacity() * sizeof(_Ref) + m_Blocks.capacity() * sizeof(_Block);
    for (const _Block& b : m_Blocks)
        bytes += b.capacity;
    return bytes;
}

bool _TextLineStore::Before(const _Ref& a, uint32_t block, size_t offset) const {
    return a.block < block || (a.block == block && a.offset <= offset);
}

int _TextLineStore::LineAt(uint32_t block, size_t offset) const {
    const auto first = m_Lines.begin() + long(m_First);
    auto it = std::partition_point(first, m_Lines.end(),
                                   [&](const _Ref& r) { return Before(r, block, offset); });
    return int(it - first) - 1;
}

int _TextLineStore::Find(std::string_view text, bool caseSensitive, int from, bool forward,
                         size_t* offset) {
    if (text.empty() || from < 0 || from >= Count()) return -1;
    // The block scan maps hits back to lines by position, which needs text in line order.
    if (!m_InOrder) Compact();
    const _Needle needle(text, caseSensitive);
    const size_t len = needle.Length();
    // A hit counts only inside one line (not across its end or in an erased line's text).
    auto lineOf = [&](uint32_t b, size_t q) {
        const int line = LineAt(b, q);
        if (line < 0) return -1;
        const _Ref& r = Ref(line);
        return r.block == b && q + len <= size_t(r.offset) + r.length ? line : -1;
    };
    const _Ref& start = Ref(from);
    if (forward) {
        size_t pos = start.offset;
        for (uint32_t b = start.block; b < m_Blocks.size(); ++b, pos = 0) {
            const char* base = m_Blocks[b].data.get();
            const size_t used = m_Blocks[b].used;
            while (pos < used) {
                const char* hit = needle.Find(base + pos, used - pos);
                if (!hit) break;
                const size_t q = size_t(hit - base);
                const int line = lineOf(b, q);
                if (line >= 0) {
                    *offset = q - Ref(line).offset;
                    return line;
                }
                pos = q + 1;
            }
        }
        return -1;
    }
    // Backward: windows of the block scanned from the end; in each, the last line with a hit.
    const size_t window = std::max<size_t>(size_t(1) << 20, 2 * len);
    size_t end = size_t(start.offset) + start.length;
    for (int64_t b = start.block; b >= 0; --b) {
        const char* base = m_Blocks[size_t(b)].data.get();
        if (b != start.block) end = m_Blocks[size_t(b)].used;
        while (end > 0) {
            const size_t ws = end > window ? end - window : 0;
            int best = -1;
            for (size_t pos = ws; pos < end;) {
                const char* hit = needle.Find(base + pos, end - pos);
                if (!hit) break;
                const size_t q = size_t(hit - base);
                const int line = lineOf(uint32_t(b), q);
                if (line < 0) {
                    pos = q + 1;
                    continue;
                }
                best = line;
                const _Ref& r = Ref(line);
                pos = size_t(r.offset) + r.length + 1;
            }
            if (best >= 0) {
                const _Ref& r = Ref(best);
                *offset = size_t(needle.Find(base + r.offset, r.length) - (base + r.offset));
                return best;
            }
            if (ws == 0) break;
            end = ws + len - 1; // starts before ws, so the windows share no candidate
        }
    }
    return -1;
}

// ---- construction ----

wxBEGIN_EVENT_TABLE(wxTextLineCtrl, wxDoubleBufferedWindow)
    EVT_KEY_DOWN(wxTextLineCtrl::OnKey)
    EVT_MOTION(wxTextLineCtrl::OnMouseMove)
    EVT_LEAVE_WINDOW(wxTextLineCtrl::OnMouseLeave)
    EVT_LEFT_DOWN(wxTextLineCtrl::OnLeftClick)
    EVT_LEFT_UP(wxTextLineCtrl::OnLeftUp)
    EVT_MOUSE_CAPTURE_LOST(wxTextLineCtrl::OnCaptureLoss)
    EVT_RIGHT_DOWN(wxTextLineCtrl::OnRightClick)
    EVT_MENU(wxID_ANY, wxTextLineCtrl::OnMenu)
    EVT_SCROLLWIN(wxTextLineCtrl::OnScrollEvent)
    EVT_MOUSEWHEEL(wxTextLineCtrl::OnWheel)
    EVT_TIMER(1, wxTextLineCtrl::OnRedrawTimer)
    EVT_SET_FOCUS(wxTextLineCtrl::OnFocus)
    EVT_KILL_FOCUS(wxTextLineCtrl::OnFocus)
wxEND_EVENT_TABLE()

wxTextLineCtrl::wxTextLineCtrl(wxWindow* parent)
    : wxDoubleBufferedWindow(parent, -1, wxBORDER_NONE | wxWANTS_CHARS) {
    CALL_ENTRY("wxTextLineCtrl::wxTextLineCtrl");
    Manage(this);
    SetBackgroundSlot(color_WindowBGLighter);
    RefreshColors();
    const _FontExtents& extents = FontExtents();
    SetFont(extents.font);
    m_unitWidth = extents.charWidth;
    m_lineHeight = extents.lineHeight;
    SetScrollbar(wxHORIZONTAL, 0, 0, 0);
    SetScrollbar(wxVERTICAL, 0, 0, 0);
    m_stickToBottom = true;
    m_SearchPanel = new wxTextLineSearchPanel(this, parent);
}

wxTextLineCtrl::~wxTextLineCtrl() {
    if (HasCapture()) ReleaseMouse();
}

// ---- lines ----

int wxTextLineCtrl::Append(const String& line, bool sorted) {
    int index = m_Store.Count();
    if (sorted) {
        // Lower bound, bytewise, against the line as it will be stored (tabs expanded),
        // since that is what the stored lines are: before the first line that is not less.
        const std::string expanded =
            line.find('\t') == String::npos ? std::string() : _TextLineStore::Expanded(line);
        const std::string_view text = expanded.empty() ? std::string_view(line) : expanded;
        int lo = 0, hi = index;
        while (lo < hi) {
            const int mid = lo + (hi - lo) / 2;
            if (m_Store.Line(mid) < text)
                lo = mid + 1;
            else
                hi = mid;
        }
        index = lo;
    }
    if (index != m_Store.Count()) ++m_Edits;
    m_Store.Insert(index, line.data(), line.size());
    // Characters never outnumber bytes: count them only when the line may be the widest.
    const std::string_view stored = m_Store.Line(index);
    if (int64_t(stored.size()) > m_WidestChars) {
        const int chars = int(std::min<size_t>(CharCount(stored), INT_MAX / 2));
        if (chars > m_WidestChars) {
            m_WidestChars = chars;
            m_virtualWidth = std::max(
                m_virtualWidth, int(std::min<int64_t>(int64_t(chars + 1) * m_unitWidth, INT_MAX)));
        }
    }
    if (m_LineLimit && size_t(m_Store.Count()) > m_LineLimit) {
        const int excess = int(size_t(m_Store.Count()) - m_LineLimit);
        DropOldest(excess);
        index -= excess; // a sorted line may itself have been among the first
    }
    m_lineCount = m_Store.Count();
    m_BarsStale = true;
    RequestRedraw();
    return index;
}

void wxTextLineCtrl::SetLineLimit(size_t lines) {
    CALL_ENTRY("wxTextLineCtrl::SetLineLimit");
    m_LineLimit = lines;
    if (lines && size_t(m_Store.Count()) > lines) {
        DropOldest(int(size_t(m_Store.Count()) - lines));
        m_lineCount = m_Store.Count();
        m_BarsStale = true;
        RequestRedraw();
    }
}

void wxTextLineCtrl::DropOldest(int count) {
    m_Store.DropFront(count);
    ++m_Edits; // every line's text offset moved
    m_Dropped += uint64_t(count);
    // Every index that pointed at a line now points at the same line, or at none.
    auto moved = [count](int& line) { line = line >= count ? line - count : -1; };
    if (m_SelAnchor >= 0 && m_SelEnd >= 0) {
        if (std::max(m_SelAnchor, m_SelEnd) < count) {
            m_SelAnchor = m_SelEnd = -1; // every selected line went
        } else {
            // Part of it went: the rest stays selected, from the new first line.
            m_SelAnchor = std::max(m_SelAnchor - count, 0);
            m_SelEnd = std::max(m_SelEnd - count, 0);
        }
    }
    moved(m_HighlightLine);
    moved(m_SearchLine);
    // The lines on screen stay on screen (unless the view follows the end).
    m_DroppedShift += int64_t(count) * m_lineHeight;
}

void wxTextLineCtrl::Erase(int index) {
    CALL_ENTRY("wxTextLineCtrl::Erase");
    m_Store.Erase(index);
    ++m_Edits;
    m_lineCount = m_Store.Count();
    m_BarsStale = true;
    SyncBars();
    RequestRedraw();
}

void wxTextLineCtrl::Clear() {
    CALL_ENTRY("wxTextLineCtrl::Clear");
    m_Store.Clear();
    m_Dropped = 0;
    m_DroppedShift = 0;
    ++m_Edits;
    SelectNone();
    m_SearchLine = -1;
    RequestRedraw();
}

String wxTextLineCtrl::GetLine(int index) const {
    const std::string_view s = m_Store.Line(index);
    return String(s.data(), s.size());
}

// ---- selection, clipboard and file ----

void wxTextLineCtrl::SelectAll() {
    m_SelAnchor = 0;
    m_SelEnd = m_Store.Count() - 1;
    RequestRedraw();
}

void wxTextLineCtrl::SelectNone() {
    if (m_SelAnchor == -1) return;
    m_SelAnchor = m_SelEnd = -1;
    StopSelecting();
    RequestRedraw();
}

void wxTextLineCtrl::StopSelecting() {
    if (!m_Selecting) return;
    m_Selecting = false;
    if (HasCapture()) ReleaseMouse();
}

void wxTextLineCtrl::SetHighlightLine(int line) {
    if (line == m_HighlightLine) return;
    m_HighlightLine = line;
    RequestRedraw();
}

void wxTextLineCtrl::CopySelectionToClipboard() {
    CALL_ENTRY("wxTextLineCtrl::CopySelectionToClipboard");
    if (!wxTheClipboard->Open()) return;
    const int lo = std::max(std::min(m_SelAnchor, m_SelEnd), 0);
    const int hi = std::min(std::max(m_SelAnchor, m_SelEnd), m_Store.Count() - 1);
    String text;
    for (int i = lo; i <= hi; ++i) {
        const std::string_view line = m_Store.Line(i);
        text.append(line.data(), line.size());
        text += k_NL;
    }
    wxTheClipboard->SetData(new wxTextDataObject(Decode(text)));
    wxTheClipboard->Flush();
    wxTheClipboard->Close();
}

void wxTextLineCtrl::SaveToFile(const String& path) const {
    CALL_ENTRY("wxTextLineCtrl::SaveToFile");
    OutFile out(Path(path), k_FileWriteNew, false, false, -1);
    for (int i = 0; i < m_Store.Count(); ++i) {
        const std::string_view line = m_Store.Line(i);
        out.Put(line.data(), line.size());
        out.PutEOL();
    }
    out.Close();
}

void wxTextLineCtrl::SaveAs() {
    CALL_ENTRY("wxTextLineCtrl::SaveAs");
    const wxString path =
        wxFileSelector(wxFileSelectorPromptStr, wxEmptyString, wxEmptyString, wxEmptyString,
                       wxFileSelectorDefaultWildcardStr, wxFD_SAVE | wxFD_OVERWRITE_PROMPT, this);
    if (!path.empty()) SaveAs(wxToString(path));
}

bool wxTextLineCtrl::SaveAs(const String& file) {
    CALL_ENTRY("wxTextLineCtrl::SaveAs");
    const wxString path = wxFromString(file);
    try {
        SaveToFile(file);
        return true;
    } catch (Exception* e) {
        // The lines stay; the user learns why and may pick another place.
        // Always shown (no "Don't tell me again"): a user who silenced it would believe the
        // lines were saved.
        const String reason = e->Format();
        delete e;
        const wxString text = wxString::Format(wxGetTranslation("Could not save to '%s': %s"),
                                               path, wxFromString(reason));
        LogInfo(wxToString(text));
        wxGenericMessageDialog(this, text, wxGetTranslation("Save As"), wxOK | wxICON_ERROR)
            .ShowModal();
        return false;
    }
}

void wxTextLineCtrl::ToggleSearch() {
    if (wxTextLineSearchPanel* panel = GetSearchPanel()) panel->Expand();
}

wxTextLineSearchPanel* wxTextLineCtrl::GetSearchPanel() const {
    return static_cast<wxTextLineSearchPanel*>(m_SearchPanel.get());
}

// ---- scroll-bar settling ----

void wxTextLineCtrl::SyncBars() const {
    if (!m_BarsStale) return;
    auto* self = const_cast<wxTextLineCtrl*>(this);
    int w = 0, h = 0;
    self->GetClientSize(&w, &h);
    if (w < 1 || h < 1) return; // as AdjustScrollbars: settled once there is a client area
    m_BarsStale = false;
    const int64_t pos = GetScrollPixel(wxVERTICAL);
    const bool following = m_stickToBottom &&
                           GetScrollPixelRange(wxVERTICAL) - GetScrollPixelThumb(wxVERTICAL) <= pos;
    self->AdjustScrollbars();
    if (m_DroppedShift && !following)
        self->ScrollToPixel(wxVERTICAL, std::max<int64_t>(0, pos - m_DroppedShift));
    m_DroppedShift = 0;
}

void wxTextLineCtrl::RequestRedraw() {
    // One full-area request per frame is enough; the timer clears the mark.
    if (m_RedrawPending && m_timer.IsRunning()) return;
    m_RedrawPending = true;
    Redraw();
}

void wxTextLineCtrl::OnFocus(wxFocusEvent& event) {
    event.Skip();
    RequestRedraw(); // the focus frame comes or goes
}

void wxTextLineCtrl::OnRedrawTimer(wxTimerEvent& event) {
    m_RedrawPending = false;
    SyncBars();
    Timeout(event);
}

int wxTextLineCtrl::GetScrollPos(int orient) const {
    SyncBars();
    return wxDoubleBufferedWindow::GetScrollPos(orient);
}

int wxTextLineCtrl::GetScrollRange(int orient) const {
    SyncBars();
    return wxDoubleBufferedWindow::GetScrollRange(orient);
}

int wxTextLineCtrl::GetScrollThumb(int orient) const {
    SyncBars();
    return wxDoubleBufferedWindow::GetScrollThumb(orient);
}

bool wxTextLineCtrl::ScrollLines(int lines) {
    SyncBars();
    return wxDoubleBufferedWindow::ScrollLines(lines);
}

bool wxTextLineCtrl::ScrollPages(int pages) {
    SyncBars();
    return wxDoubleBufferedWindow::ScrollPages(pages);
}

void wxTextLineCtrl::OnScrollEvent(wxScrollWinEvent& event) {
    SyncBars();
    Scroll(event);
}

void wxTextLineCtrl::OnWheel(wxMouseEvent& event) {
    SyncBars();
    OnMouseWheel(event);
}

void wxTextLineCtrl::SendScroll(wxEventType type, int orient, int position) {
    wxScrollWinEvent e(type, position, orient);
    e.SetEventObject(this);
    SyncBars();
    Scroll(e);
}

// ---- search ----

void wxTextLineCtrl::Search(String text, bool forward, bool caseSensitive) {
    CALL_ENTRY("wxTextLineCtrl::Search");
    if (text.empty()) return;
    SyncBars();
    const int top = int(GetScrollPixel(wxVERTICAL) / m_lineHeight);
    int from = m_SearchLine < 0 ? top : forward ? m_SearchLine + 1 : m_SearchLine - 1;
    // A hit left behind by Erase may lie past the end: going up starts from the last line.
    if (!forward) from = std::min(from, m_Store.Count() - 1);
    size_t offset = 0;
    int hit = m_Store.Find(text, caseSensitive, from, forward, &offset);
    // Wrapping: the rest from the other end (the lines already passed are looked at again,
    // so a text found only there is found, as an editor does).
    if (hit < 0 && m_WrapSearch && m_Store.Count() > 0)
        hit =
            m_Store.Find(text, caseSensitive, forward ? 0 : m_Store.Count() - 1, forward, &offset);
    if (hit >= 0) {
        const std::string_view line = m_Store.Line(hit);
        m_SearchLine = hit;
        m_SearchColumn = int(CharCount(line.substr(0, offset)));
        m_SearchLength = int(CharCount(text));
        // Scroll only when the hit comes near the edge the search moves towards.
        const int visible = m_pageLines;
        if (forward ? hit >= top + visible - 4 : hit <= top + 4) {
            const int64_t target = int64_t(forward ? hit - visible + 5 : hit - 5) * m_lineHeight;
            const int64_t max = GetScrollPixelRange(wxVERTICAL) - GetScrollPixelThumb(wxVERTICAL);
            ScrollToPixel(wxVERTICAL, std::max<int64_t>(0, std::min(max, target)));
        }
        RequestRedraw();
        return;
    }
    if (m_SearchLine >= 0) {
        RequestRedraw();
        m_SearchLine = -1;
    }
    wxBell();
    wxTaviroMessageBox(
        wxString::Format(wxGetTranslation("'%s' not found in that direction"), wxFromString(text)),
        "TextLineSearchNotFound", GetParent());
}

void wxTextLineCtrl::SetLineColour(LineColour colour) {
    m_LineColour = std::move(colour);
    RequestRedraw();
}

bool wxTextLineCtrl::GetSearchHit(int& line, int& column, int& length) const {
    if (m_SearchLine < 0) return false;
    line = m_SearchLine;
    column = m_SearchColumn;
    length = m_SearchLength;
    return true;
}

// ---- mouse, keys and menu ----

int wxTextLineCtrl::LineAtY(int y) {
    SyncBars();
    const int64_t line = (y + GetScrollPixel(wxVERTICAL)) / m_lineHeight;
    return y + GetScrollPixel(wxVERTICAL) >= 0 && line < m_Store.Count() ? int(line) : -1;
}

void wxTextLineCtrl::OnLeftClick(wxMouseEvent& event) {
    m_Selecting = true;
    m_SelAnchor = m_SelEnd = LineAtY(event.GetY());
    RequestRedraw();
    if (!HasCapture()) CaptureMouse();
}

void wxTextLineCtrl::OnMouseMove(wxMouseEvent& event) {
    const int line = LineAtY(event.GetY());
    SetHighlightLine(line);
    if (!m_Selecting) return;
    if (m_SelAnchor == -1) m_SelAnchor = line;
    m_SelEnd = line;
    RequestRedraw();
    if (event.GetY() < 0)
        SendScroll(wxEVT_SCROLLWIN_LINEUP, wxVERTICAL);
    else if (event.GetY() > GetClientSize().y)
        SendScroll(wxEVT_SCROLLWIN_LINEDOWN, wxVERTICAL);
}

void wxTextLineCtrl::OnLeftUp(wxMouseEvent&) {
    StopSelecting();
}

void wxTextLineCtrl::OnCaptureLoss(wxMouseCaptureLostEvent&) {
    StopSelecting();
}

void wxTextLineCtrl::OnMouseLeave(wxMouseEvent&) {
    SetHighlightLine(-1);
}

void wxTextLineCtrl::OnRightClick(wxMouseEvent&) {
    wxMenu menu;
    HandleContextMenu(menu, true);
}

void wxTextLineCtrl::HandleContextMenu(wxMenu& menu, bool addStandardItems) {
    if (addStandardItems) {
        menu.Append(k_IdSaveAs, wxGetTranslation("Save As...\tCtrl+S"));
        menu.AppendSeparator();
        menu.Append(k_IdSearch, wxGetTranslation("Search...\tCtrl+F"));
        menu.AppendSeparator();
        menu.Append(k_IdSelectAll, wxGetTranslation("Select All\tCtrl+A"));
        menu.Append(k_IdSelectNone, wxGetTranslation("Select None\tEsc"));
        menu.AppendSeparator();
        menu.Append(k_IdCopy, wxGetTranslation("Copy\tCtrl+C"));
        menu.AppendSeparator();
        menu.Append(k_IdTop, wxGetTranslation("Scroll to Top\tCtrl+Home"));
        menu.Append(k_IdBottom, wxGetTranslation("Scroll to Bottom\tCtrl+End"));
    }
    PopupMenu(&menu);
}

void wxTextLineCtrl::OnMenu(wxCommandEvent& event) {
    switch (event.GetId()) {
    case k_IdSaveAs:
        SaveAs();
        break;
    case k_IdSearch:
        ToggleSearch();
        break;
    case k_IdSelectAll:
        SelectAll();
        break;
    case k_IdSelectNone:
        SelectNone();
        break;
    case k_IdCopy:
        CopySelectionToClipboard();
        break;
    case k_IdTop:
        SendScroll(wxEVT_SCROLLWIN_TOP, wxVERTICAL);
        break;
    case k_IdBottom:
        SendScroll(wxEVT_SCROLLWIN_BOTTOM, wxVERTICAL);
        break;
    default:
        event.Skip();
    }
}

void wxTextLineCtrl::OnKey(wxKeyEvent& event) {
    const bool ctrl = event.ControlDown();
    wxEventType type = wxEVT_NULL;
    int orient = wxVERTICAL;
    switch (event.GetKeyCode()) {
    case WXK_ESCAPE:
        SelectNone();
        break;
    case 'A':
        if (ctrl) SelectAll();
        break;
    case 'C':
        if (ctrl) CopySelectionToClipboard();
        break;
    case 'F':
        // The viewer's own search comes before a frame's Ctrl+F: the key stops here.
        if (ctrl) {
            ToggleSearch();
            return;
        }
        break;
    case 'S':
        if (ctrl) SaveAs();
        break;
    // Home and End go sideways with or without Ctrl (the menu's vertical items say Ctrl+).
    case WXK_HOME:
        type = wxEVT_SCROLLWIN_TOP, orient = wxHORIZONTAL;
        break;
    case WXK_END:
        type = wxEVT_SCROLLWIN_BOTTOM, orient = wxHORIZONTAL;
        break;
    case WXK_LEFT:
        type = wxEVT_SCROLLWIN_LINEUP, orient = wxHORIZONTAL;
        break;
    case WXK_RIGHT:
        type = wxEVT_SCROLLWIN_LINEDOWN, orient = wxHORIZONTAL;
        break;
    case WXK_UP:
        type = wxEVT_SCROLLWIN_LINEUP;
        break;
    case WXK_DOWN:
        type = wxEVT_SCROLLWIN_LINEDOWN;
        break;
    case WXK_PAGEUP:
        type = ctrl ? wxEVT_SCROLLWIN_TOP : wxEVT_SCROLLWIN_PAGEUP;
        break;
    case WXK_PAGEDOWN:
        type = ctrl ? wxEVT_SCROLLWIN_BOTTOM : wxEVT_SCROLLWIN_PAGEDOWN;
        break;
    default:
        break;
    }
    if (type != wxEVT_NULL) SendScroll(type, orient);
    event.Skip();
}

// ---- painting ----

void wxTextLineCtrl::DrawBitmap() {
    CALL_ENTRY("wxTextLineCtrl::DrawBitmap");
    if (!m_bitmap) return;
    SyncBars();
    const wxColour bg = Or(GetBackgroundColour(), *wxWHITE);
    const wxColour blue = Or(wxsGetColor(color_TextBlue), *wxBLUE);
    const wxColour hover = OffsetColor(bg, 10, 10, 10);
    const wxColour hoverHit = OffsetColor(hover, 10, 10, 10);
    const wxColour hit = Blend25(blue, bg);
    const wxColour sel = Or(wxsGetColor(color_Selected), wxColour(51, 153, 255));
    const wxColour selHover = OffsetColor(sel, 10, 10, 10);
    const wxColour selHit = Blend25(blue, sel);
    const wxColour selHitHover = OffsetColor(selHit, 10, 10, 10);
    const wxColour selText = OffsetColor(Or(wxsGetColor(color_3DDark), *wxBLACK), -20, -20, -20);
    const wxColour text = Or(GetForegroundColour(), *wxBLACK);

    wxMemoryDC dc(*m_bitmap);
    dc.SetFont(GetFont());
    dc.SetPen(*wxTRANSPARENT_PEN);
    dc.SetBrush(wxBrush(bg));
    const wxSize client = GetClientSize();
    dc.DrawRectangle(0, 0, client.x, client.y);

    const int64_t pos = GetScrollPixel(wxVERTICAL);
    const int yOff = int(pos % m_lineHeight);
    const int64_t first = pos / m_lineHeight;
    const int64_t stop = std::min<int64_t>(first + m_pageLines, m_Store.Count());
    const int64_t start = first > 0 ? first - 1 : 0;
    const int64_t hpos = GetScrollPixel(wxHORIZONTAL);
    int64_t firstCol = hpos / m_unitWidth;
    int x0 = m_unitWidth / 2;
    const int xOff = int(hpos % m_unitWidth);
    if (firstCol > 0) {
        firstCol -= 1;
        x0 -= m_unitWidth;
    }
    const int selLo = std::min(m_SelAnchor, m_SelEnd), selHi = std::max(m_SelAnchor, m_SelEnd);
    dc.SetBackgroundMode(wxBRUSHSTYLE_SOLID);
    for (int64_t i = start; i < stop; ++i) {
        const int y = int((i - first) * m_lineHeight - yOff);
        const bool highlighted = i == m_HighlightLine, found = i == m_SearchLine;
        const bool selected = selHi >= 0 && i >= selLo && i <= selHi;
        wxColour fill;
        if (!selected)
            fill = highlighted && found ? hoverHit : highlighted ? hover : found ? hit : bg;
        else
            fill = highlighted && found ? selHitHover
                   : highlighted        ? selHover
                   : found              ? selHit
                                        : sel;
        dc.SetBrush(wxBrush(fill));
        dc.DrawRectangle(0, y, client.x, m_lineHeight);
        wxColour ink = selected ? selText : text;
        if (!selected && m_LineColour) ink = Or(m_LineColour(m_Store.Line(int(i))), text);
        ink = wxsReadableOn(ink, fill);
        dc.SetTextForeground(ink);
        dc.SetTextBackground(fill);
        const wxString part = Decode(m_Store.Line(int(i)), size_t(firstCol), m_pageUnits, true);
        if (!part.empty()) dc.DrawText(part, x0 - xOff, y);
        if (found) {
            // Inverted: Cairo has no bitwise XOR, so the hit is drawn again in the inverse
            // colours, clipped to its cells. Inversion is affine, so anti-aliased edges come
            // out as the inverse of what was there too.
            const wxRect cells(
                int((m_SearchColumn - hpos / m_unitWidth) * m_unitWidth + m_unitWidth / 2 - xOff),
                y, m_SearchLength * m_unitWidth, m_lineHeight);
            dc.SetBrush(wxBrush(Inverse(fill)));
            dc.DrawRectangle(cells);
            wxDCClipper clip(dc, cells);
            dc.SetBackgroundMode(wxBRUSHSTYLE_TRANSPARENT);
            dc.SetTextForeground(Inverse(ink));
            if (!part.empty()) dc.DrawText(part, x0 - xOff, y);
            dc.SetBackgroundMode(wxBRUSHSTYLE_SOLID);
        }
    }
    if (m_Dropped > 0 && first == 0) {
        // The top of what is kept: say that earlier lines were dropped, in a box at the right.
        const wxString note =
            wxString::Format(wxGetTranslation("%s earlier lines dropped (%s kept at most)"),
                             wxString::Format("%llu", (unsigned long long)m_Dropped),
                             wxString::Format("%zu", m_LineLimit));
        const wxSize size = dc.GetTextExtent(note);
        const wxRect box(client.x - size.x - 2 * m_unitWidth, 0, size.x + m_unitWidth,
                         m_lineHeight);
        dc.SetBrush(wxBrush(Or(wxsGetColor(color_WindowBGDarker), bg)));
        dc.DrawRectangle(box);
        dc.SetBackgroundMode(wxBRUSHSTYLE_TRANSPARENT);
        dc.SetTextForeground(text);
        dc.DrawText(note, box.x + m_unitWidth / 2, 0);
    }
    // The viewer has no caret: a frame inside its edge shows that the keys come here.
    if (HasFocus()) wxsDrawFocusMark(dc, wxRect(client).Deflate(1), wxsReadableOn(text, bg));
}

// ---- search panel ----

wxBEGIN_EVENT_TABLE(_SearchTextCtrl, wxsTextCtrl)
    EVT_KEY_DOWN(_SearchTextCtrl::OnKey)
wxEND_EVENT_TABLE()

wxBEGIN_EVENT_TABLE(wxTextLineSearchPanel, wxsPanel)
    EVT_BUTTON(0, wxTextLineSearchPanel::OnExpand)
    EVT_BUTTON(1, wxTextLineSearchPanel::OnSearch)
    EVT_BUTTON(2, wxTextLineSearchPanel::OnSearch)
    EVT_TEXT_ENTER(wxID_ANY, wxTextLineSearchPanel::OnSearch)
    EVT_CHECKBOX(wxID_ANY, wxTextLineSearchPanel::OnCheckCaseSensitive)
wxEND_EVENT_TABLE()

_SearchTextCtrl::_SearchTextCtrl(wxTextLineSearchPanel* panel, wxWindow* parent)
    : wxsTextCtrl(parent, -1, wxEmptyString, wxDefaultPosition, wxDefaultSize, wxTE_PROCESS_ENTER),
      m_Panel(panel) {
    wxTextCtrl::SetHint(GetHint());
}

bool _SearchTextCtrl::SetHint(const wxString&) {
    return false;
}

wxString _SearchTextCtrl::GetHint() const {
    return _("Search for");
}

void _SearchTextCtrl::OnKey(wxKeyEvent& event) {
    if (event.GetKeyCode() == WXK_ESCAPE || (event.ControlDown() && event.GetKeyCode() == 'F'))
        m_Panel->Expand();
    else
        event.Skip();
}

wxTextLineSearchPanel::wxTextLineSearchPanel(wxTextLineCtrl* lines, wxWindow* parent)
    : wxsPanel(parent, -1, wxDefaultPosition, wxDefaultSize, wxBORDER_NONE, "panel"),
      m_Lines(lines) {
    CALL_ENTRY("wxTextLineSearchPanel::wxTextLineSearchPanel");
    // The close mark: a black cross in a black frame on white.
    wxImage image(11, 11);
    image.SetRGB(wxRect(0, 0, 11, 11), 255, 255, 255);
    for (int i = 0; i < 11; ++i) {
        image.SetRGB(i, 0, 0, 0, 0), image.SetRGB(i, 10, 0, 0, 0);
        image.SetRGB(0, i, 0, 0, 0), image.SetRGB(10, i, 0, 0, 0);
        if (i >= 2 && i <= 8) image.SetRGB(i, i, 0, 0, 0), image.SetRGB(10 - i, i, 0, 0, 0);
    }
    m_CloseBitmap = new wxBitmap(image);

    auto* sizer = new wxBoxSizer(wxHORIZONTAL);
    sizer->AddSpacer(5);
    sizer->Add(new wxsBitmapButton(this, 0, *m_CloseBitmap, wxDefaultPosition, wxDefaultSize,
                                   wxBORDER_NONE | wxBU_EXACTFIT),
               0, wxALIGN_CENTER_VERTICAL);
    sizer->AddSpacer(10);
    sizer->Add(new wxsStaticText(this, wxID_ANY, wxGetTranslation("Search for:")), 0,
               wxALIGN_CENTER_VERTICAL);
    sizer->AddSpacer(5);
    m_Text = new _SearchTextCtrl(this, this);
    sizer->Add(m_Text, 1, wxEXPAND | wxTOP | wxBOTTOM, 1);
    sizer->AddSpacer(10);
    auto* up = new wxsButton(this, 1, wxGetTranslation("Up"), wxDefaultPosition, wxDefaultSize,
                             wxBU_EXACTFIT);
    auto* down = new wxsButton(this, 2, wxGetTranslation("Down"), wxDefaultPosition, wxDefaultSize,
                               wxBU_EXACTFIT);
    up->SetMinSize(down->GetBestSize());
    sizer->Add(up, 0, wxEXPAND | wxTOP | wxBOTTOM, 1);
    sizer->AddSpacer(5);
    sizer->Add(down, 0, wxEXPAND | wxTOP | wxBOTTOM, 1);
    sizer->AddSpacer(10);
    m_Case = new wxsCheckBox(this, wxID_ANY, wxGetTranslation("Match Case"));
    wxTaviroApp::WhenOptionsLoaded(this, [this] {
        bool caseSensitive = true;
        if (Application* app = Application::the_Application)
            caseSensitive = app->GetOptions()->GetValue("Search", "CaseSensitive", true);
        m_Case->SetValue(caseSensitive);
    });
    // Centred, not stretched to the bar's height: the box is a square of the control's height,
    // so a taller control would push the end of its label out of sight.
    sizer->Add(m_Case, 0, wxALIGN_CENTER_VERTICAL);
    sizer->AddSpacer(5);
    SetSizer(sizer);
    Layout();
    Fit();
    Show();
    Expand();
}

wxTextLineSearchPanel::~wxTextLineSearchPanel() {
    delete m_CloseBitmap;
}

void wxTextLineSearchPanel::Expand() {
    CALL_ENTRY("wxTextLineSearchPanel::Expand");
    const bool show = !IsShown();
    wxWindow* parent = GetParent();
    parent->Freeze();
    Show(show);
    GetSizer()->ShowItems(show);
    parent->Layout();
    if (show)
        m_Text->SetFocus();
    else
        SetFocus();
    parent->Thaw();
}

void wxTextLineSearchPanel::OnExpand(wxCommandEvent&) {
    Expand();
}

void wxTextLineSearchPanel::OnSearch(wxCommandEvent& event) {
    const wxString text = m_Text->GetValue();
    if (text.empty() || !m_Lines) return; // the viewer may have gone before its bar
    m_Lines->Search(wxToString(text), event.GetId() != 1, m_Case->GetValue());
}

namespace {
void _RememberSearchSetting(const char* key, bool on) {
    Application* app = Application::the_Application;
    if (!app) return;
    OptionsFile* options = app->GetOptions();
    try {
        RWLock::WriteGuard lock(*options->GetRWLock());
        options->SetValue("Search", key, on ? "1" : "0");
    } catch (Exception* e) {
        LogInfo(SFormat("Cannot remember the search setting %s: ", key) + e->Format());
        delete e;
    }
}
} // namespace

void wxTextLineSearchPanel::OnCheckCaseSensitive(wxCommandEvent& event) {
    if (m_Wrap && event.GetEventObject() == m_Wrap) {
        if (m_Lines) m_Lines->SetWrapSearch(m_Wrap->GetValue());
        _RememberSearchSetting("Wrap", m_Wrap->GetValue());
        return;
    }
    _RememberSearchSetting("CaseSensitive", m_Case->GetValue());
}

void wxTextLineSearchPanel::OfferWrap() {
    CALL_ENTRY("wxTextLineSearchPanel::OfferWrap");
    if (m_Wrap) return;
    m_Wrap = new wxsCheckBox(this, wxID_ANY, wxGetTranslation("Wrap around"));
    m_Wrap->Show(IsShown());
    wxTaviroApp::WhenOptionsLoaded(this, [this] {
        bool wrap = true; // as editors do, once offered
        if (Application* app = Application::the_Application)
            wrap = app->GetOptions()->GetValue("Search", "Wrap", true);
        m_Wrap->SetValue(wrap);
        if (m_Lines) m_Lines->SetWrapSearch(wrap);
    });
    // After "Match Case" and its gap, before the closing spacer.
    wxSizer* sizer = GetSizer();
    sizer->Insert(sizer->GetItemCount() - 1, 10, 0);
    sizer->Insert(sizer->GetItemCount() - 1, m_Wrap, 0, wxALIGN_CENTER_VERTICAL);
    Layout();
    if (GetParent()) GetParent()->Layout();
}
