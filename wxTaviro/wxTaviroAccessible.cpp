// The library's ATK objects. GTK asks a widget's class for its accessible object
// (GtkWidgetClass::get_accessible); the classes of the widgets the library registers are
// hooked there once, and for a registered widget the hook builds the library's own object the
// first time it is asked. Other widgets of those classes get GTK's object as before.
//
// An object holds a provider: the C++ side that knows its control (role, name, states,
// actions, and the table, text or item model). Objects derive from GTK's container accessible,
// so focus, extents, visibility and the widget's own children behave as GTK's do; cells, tabs,
// column headers and list items are light child objects made on request.
//
// Sections: providers; GObject types; the class hook; naming; buttons and fields; tables;
// text; items (tabs, headers, choices, check lists); choosing a provider.
#include <wxTaviro/wxTaviroAccessible.h>

#include <wxTaviro/wxBarHistoryCtrl.h>
#include <wxTaviro/wxDBListCtrl.h>
#include <wxTaviro/wxDBTreeListCtrl.h>
#include <wxTaviro/wxExpandablePanel.h>
#include <wxTaviro/wxTaviroColors.h>
#include <wxTaviro/wxTaviroString.h>
#include <wxTaviro/wxTaviroText.h>
#include <wxTaviro/wxTextLineCtrl.h>

#include <wx/aui/auibook.h>
#include <wx/aui/framemanager.h>
#include <wx/bookctrl.h>
#include <wx/intl.h>
#include <wx/menuitem.h>
#include <wx/stattext.h>
#include <wx/tooltip.h>
#include <wx/weakref.h>

#include <gtk/gtk-a11y.h>
#include <gtk/gtk.h>

#include <algorithm>
#include <climits>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

std::string Utf8(const wxString& s) {
    return std::string(s.utf8_str().data());
}

// A line of the library's byte strings as valid UTF-8.
std::string ValidUtf8(std::string_view bytes) {
    gchar* valid = g_utf8_make_valid(bytes.data(), gssize(bytes.size()));
    std::string out(valid);
    g_free(valid);
    return out;
}

// Screen or toplevel coordinates of a rectangle given in a window's client coordinates.
void ToAtk(wxWindow* window, wxRect r, AtkCoordType coords, gint* x, gint* y, gint* w, gint* h) {
    wxPoint p = window->ClientToScreen(r.GetPosition());
    if (coords == ATK_XY_WINDOW)
        if (wxWindow* top = wxGetTopLevelParent(window)) p -= top->GetScreenPosition();
    *x = p.x, *y = p.y, *w = r.width, *h = r.height;
}

wxPoint FromAtk(wxWindow* window, gint x, gint y, AtkCoordType coords) {
    wxPoint p(x, y);
    if (coords == ATK_XY_WINDOW)
        if (wxWindow* top = wxGetTopLevelParent(window)) p += top->GetScreenPosition();
    return window->ScreenToClient(p);
}

// ---- providers ----

// The kinds of object; each is a GType with its own set of interfaces.
enum class _Kind { NameOnly, Plain, Action, Table, Text, Items, Count };

// The states an object or child adds to GTK's; changes of these are announced.
const AtkStateType k_Watched[] = {ATK_STATE_CHECKED,   ATK_STATE_EXPANDED, ATK_STATE_SELECTED,
                                  ATK_STATE_FOCUSED,   ATK_STATE_SHOWING,  ATK_STATE_PRESSED,
                                  ATK_STATE_EXPANDABLE};

unsigned WatchedBits(AtkStateSet* set) {
    unsigned bits = 0;
    for (size_t i = 0; i < sizeof k_Watched / sizeof *k_Watched; ++i)
        if (atk_state_set_contains_state(set, k_Watched[i])) bits |= 1u << i;
    return bits;
}

class _Provider;

struct _Acc {
    GtkContainerAccessible parent;
    _Provider* provider;
};
struct _AccClass {
    GtkContainerAccessibleClass parent;
};
// A child: a cell, a column header, a tab, a list item. `row` -1 is a table's column header.
struct _Child {
    AtkObject parent;
    _Acc* owner; // not owned; null once the owner let go of it
    int row, column;
    unsigned lastStates;
    gchar* name; // what get_name returned last
};
struct _ChildClass {
    AtkObjectClass parent;
};

GType ChildType(bool cell);

// A wx event handler, so that what it binds on windows and its own deferred calls go with it.
class _Provider : public wxEvtHandler {
public:
    explicit _Provider(wxWindow* window) : m_Window(window) {}
    ~_Provider() override { ReleaseChildren(); }

    virtual _Kind Kind() const = 0;
    virtual AtkRole Role() const = 0;
    virtual wxString Name() const { return wxString(); }
    virtual wxString Description() const { return wxString(); }
    virtual void AddStates(AtkStateSet*) const {}

    // AtkAction of the object.
    virtual int ActionCount() const { return 0; }
    virtual const char* ActionName(int) const { return nullptr; }
    virtual bool DoAction(int) { return false; }

    // Children of one's own: -1 keeps the widget's children (the container's).
    virtual int ChildCount() { return -1; }
    virtual void ChildPosition(int index, int* row, int* column) const {
        *row = index, *column = 0;
    }
    virtual int ChildIndex(int row, int column) const { return row + column; }
    virtual AtkRole ChildRole(int row, int column) const = 0;
    virtual wxString ChildName(int, int) const { return wxString(); }
    virtual void ChildStates(int, int, AtkStateSet*) const {}
    virtual wxRect ChildRect(int, int) const { return wxRect(); }
    virtual int ChildActionCount(int, int) const { return 0; }
    virtual const char* ChildActionName(int, int, int) const { return nullptr; }
    virtual bool ChildAction(int, int, int) { return false; }

    // AtkSelection, by child index.
    virtual std::vector<int> SelectedChildren() const { return {}; }
    virtual bool SelectChild(int, bool) { return false; }
    virtual bool ClearSelection() { return false; }
    virtual bool SelectAll() { return false; }

    // The window, while it is whole; null while it goes.
    wxWindow* Window() const {
        wxWindow* w = m_Window.get();
        return w && !w->IsBeingDeleted() ? w : nullptr;
    }
    void SetObject(AtkObject* object) {
        m_Object = object;
        Watch();
    }
    AtkObject* Object() const { return m_Object; }

    // The child object of (row, column), made on the first request and kept; a new reference.
    AtkObject* RefChild(int row, int column) {
        const auto key = std::make_pair(row, column);
        auto it = m_Children.find(key);
        if (it == m_Children.end()) {
            if (m_Children.size() >= 4096) DropUnusedChildren();
            auto* child = static_cast<_Child*>(g_object_new(ChildType(IsTable()), nullptr));
            child->owner = reinterpret_cast<_Acc*>(m_Object);
            child->row = row, child->column = column;
            AtkObject* object = ATK_OBJECT(child);
            object->role = ChildRole(row, column);
            AtkStateSet* set = atk_object_ref_state_set(object);
            child->lastStates = WatchedBits(set);
            g_object_unref(set);
            it = m_Children.emplace(key, object).first;
        }
        return ATK_OBJECT(g_object_ref(it->second));
    }
    // Asks for a look at the control after the current event: the changes are announced then.
    void Touch() {
        if (!Window() || m_FlushQueued) return;
        m_FlushQueued = true;
        CallAfter([this] {
            m_FlushQueued = false;
            if (Window()) Flush();
        });
    }

    void ReleaseChildren() {
        for (auto& c : m_Children) {
            reinterpret_cast<_Child*>(c.second)->owner = nullptr;
            atk_object_notify_state_change(c.second, ATK_STATE_DEFUNCT, TRUE);
            g_object_unref(c.second);
        }
        m_Children.clear();
    }

    // Keeps a string alive for as long as ATK may read it.
    const char* Keep(std::string& slot, const wxString& text) const {
        slot = Utf8(text);
        return slot.c_str();
    }
    mutable std::string m_NameBuf, m_DescriptionBuf;

protected:
    virtual bool IsTable() const { return false; }
    // Binds what the control does to Touch; the window's repaint by default.
    virtual void Watch() {
        if (wxWindow* w = Window()) w->Bind(wxEVT_PAINT, &_Provider::OnPaint, this);
    }
    void OnPaint(wxPaintEvent& e) {
        e.Skip();
        Touch();
    }
    // Announces what changed since the last look: name, description, the object's and its
    // children's states; subclasses add their models.
    virtual void Flush() {
        const std::string name = Utf8(Name()), description = Utf8(Description());
        if (name != m_LastName) {
            m_LastName = name;
            g_object_notify(G_OBJECT(m_Object), "accessible-name");
        }
        if (description != m_LastDescription) {
            m_LastDescription = description;
            g_object_notify(G_OBJECT(m_Object), "accessible-description");
        }
        AnnounceStates(m_Object, m_LastStates);
        for (auto& c : m_Children)
            AnnounceStates(c.second, reinterpret_cast<_Child*>(c.second)->lastStates);
    }
    static void AnnounceStates(AtkObject* object, unsigned& last) {
        AtkStateSet* set = atk_object_ref_state_set(object);
        const unsigned now = WatchedBits(set);
        g_object_unref(set);
        for (size_t i = 0; i < sizeof k_Watched / sizeof *k_Watched; ++i)
            if ((now ^ last) & (1u << i))
                atk_object_notify_state_change(object, k_Watched[i], (now >> i) & 1);
        last = now;
    }
    void DropUnusedChildren() {
        for (auto it = m_Children.begin(); it != m_Children.end();) {
            if (G_OBJECT(it->second)->ref_count > 1) {
                ++it;
                continue;
            }
            reinterpret_cast<_Child*>(it->second)->owner = nullptr;
            g_object_unref(it->second);
            it = m_Children.erase(it);
        }
    }
    wxWeakRef<wxWindow> m_Window;
    AtkObject* m_Object = nullptr;
    std::map<std::pair<int, int>, AtkObject*> m_Children;
    bool m_FlushQueued = false;
    std::string m_LastName, m_LastDescription;
    unsigned m_LastStates = 0;
};

_Provider* ProviderOf(gpointer object) {
    return object ? reinterpret_cast<_Acc*>(object)->provider : nullptr;
}

// The provider of a child's owner, and the child's place; null once the owner is gone.
_Provider* ProviderOfChild(gpointer object, int* row, int* column) {
    _Child* child = reinterpret_cast<_Child*>(object);
    _Provider* p = child->owner ? child->owner->provider : nullptr;
    if (p && !p->Window()) p = nullptr;
    *row = child->row, *column = child->column;
    return p;
}

// ---- GObject types ----

GType s_AccTypes[int(_Kind::Count)];
gpointer s_AccParent = nullptr;
gpointer s_ChildParent = nullptr;

_Provider* Live(gpointer object) {
    _Provider* p = ProviderOf(object);
    return p && p->Window() ? p : nullptr;
}

const gchar* AccGetName(AtkObject* object) {
    if (object->name) return object->name;
    _Provider* p = Live(object);
    return p ? p->Keep(p->m_NameBuf, p->Name()) : nullptr;
}

const gchar* AccGetDescription(AtkObject* object) {
    if (object->description) return object->description;
    _Provider* p = Live(object);
    if (!p) return nullptr;
    const wxString d = p->Description();
    return d.empty() ? ATK_OBJECT_CLASS(s_AccParent)->get_description(object)
                     : p->Keep(p->m_DescriptionBuf, d);
}

AtkStateSet* AccRefStateSet(AtkObject* object) {
    AtkStateSet* set = ATK_OBJECT_CLASS(s_AccParent)->ref_state_set(object);
    if (_Provider* p = Live(object)) p->AddStates(set);
    return set;
}

gint AccGetNChildren(AtkObject* object) {
    _Provider* p = Live(object);
    const int n = p ? p->ChildCount() : -1;
    return n >= 0 ? n : ATK_OBJECT_CLASS(s_AccParent)->get_n_children(object);
}

AtkObject* AccRefChild(AtkObject* object, gint index) {
    _Provider* p = Live(object);
    const int n = p ? p->ChildCount() : -1;
    if (n < 0) return ATK_OBJECT_CLASS(s_AccParent)->ref_child(object, index);
    if (index < 0 || index >= n) return nullptr;
    int row = 0, column = 0;
    p->ChildPosition(index, &row, &column);
    return p->RefChild(row, column);
}

void AccFinalize(GObject* object) {
    _Acc* acc = reinterpret_cast<_Acc*>(object);
    delete acc->provider;
    acc->provider = nullptr;
    G_OBJECT_CLASS(s_AccParent)->finalize(object);
}

void AccClassInit(gpointer klass, gpointer) {
    s_AccParent = g_type_class_peek_parent(klass);
    G_OBJECT_CLASS(klass)->finalize = AccFinalize;
    AtkObjectClass* atk = ATK_OBJECT_CLASS(klass);
    atk->get_name = AccGetName;
    atk->get_description = AccGetDescription;
    atk->ref_state_set = AccRefStateSet;
    atk->get_n_children = AccGetNChildren;
    atk->ref_child = AccRefChild;
}

// AtkAction of an object.
gboolean AccDoAction(AtkAction* action, gint i) {
    _Provider* p = Live(action);
    if (!p || i < 0 || i >= p->ActionCount()) return FALSE;
    // After the current event: an action may open a modal dialog.
    p->CallAfter([p, i] {
        if (p->Window()) p->DoAction(i);
    });
    return TRUE;
}
gint AccGetNActions(AtkAction* action) {
    _Provider* p = Live(action);
    return p ? p->ActionCount() : 0;
}
const gchar* AccActionName(AtkAction* action, gint i) {
    _Provider* p = Live(action);
    return p && i >= 0 && i < p->ActionCount() ? p->ActionName(i) : nullptr;
}
void AccActionInit(gpointer iface, gpointer) {
    auto* a = static_cast<AtkActionIface*>(iface);
    a->do_action = AccDoAction;
    a->get_n_actions = AccGetNActions;
    a->get_name = AccActionName;
}

// Children: names, roles and states from the owner's provider.
const gchar* ChildGetName(AtkObject* object) {
    int row, column;
    _Provider* p = ProviderOfChild(object, &row, &column);
    _Child* child = reinterpret_cast<_Child*>(object);
    g_free(child->name);
    child->name = p ? g_strdup(Utf8(p->ChildName(row, column)).c_str()) : nullptr;
    return child->name;
}

AtkObject* ChildGetParent(AtkObject* object) {
    _Child* child = reinterpret_cast<_Child*>(object);
    return child->owner ? ATK_OBJECT(child->owner) : nullptr;
}

gint ChildIndexInParent(AtkObject* object) {
    int row, column;
    _Provider* p = ProviderOfChild(object, &row, &column);
    return p ? p->ChildIndex(row, column) : -1;
}

AtkStateSet* ChildRefStateSet(AtkObject* object) {
    AtkStateSet* set = atk_state_set_new();
    int row, column;
    if (_Provider* p = ProviderOfChild(object, &row, &column)) {
        atk_state_set_add_state(set, ATK_STATE_VISIBLE);
        atk_state_set_add_state(set, ATK_STATE_ENABLED);
        atk_state_set_add_state(set, ATK_STATE_SENSITIVE);
        p->ChildStates(row, column, set);
        const wxRect r = p->ChildRect(row, column);
        if (!r.IsEmpty() && r.Intersects(wxRect(p->Window()->GetClientSize())))
            atk_state_set_add_state(set, ATK_STATE_SHOWING);
    } else {
        atk_state_set_add_state(set, ATK_STATE_DEFUNCT);
    }
    return set;
}

void ChildFinalize(GObject* object) {
    g_free(reinterpret_cast<_Child*>(object)->name);
    G_OBJECT_CLASS(s_ChildParent)->finalize(object);
}

void ChildClassInit(gpointer klass, gpointer) {
    s_ChildParent = g_type_class_peek_parent(klass);
    G_OBJECT_CLASS(klass)->finalize = ChildFinalize;
    AtkObjectClass* atk = ATK_OBJECT_CLASS(klass);
    atk->get_name = ChildGetName;
    atk->get_parent = ChildGetParent;
    atk->get_index_in_parent = ChildIndexInParent;
    atk->ref_state_set = ChildRefStateSet;
}

void ChildGetExtents(AtkComponent* component, gint* x, gint* y, gint* w, gint* h,
                     AtkCoordType coords) {
    *x = *y = *w = *h = -1;
    int row, column;
    if (_Provider* p = ProviderOfChild(component, &row, &column))
        ToAtk(p->Window(), p->ChildRect(row, column), coords, x, y, w, h);
}
gboolean ChildGrabFocus(AtkComponent* component) {
    int row, column;
    _Provider* p = ProviderOfChild(component, &row, &column);
    if (!p) return FALSE;
    p->Window()->SetFocus();
    return TRUE;
}
void ChildComponentInit(gpointer iface, gpointer) {
    auto* c = static_cast<AtkComponentIface*>(iface);
    c->get_extents = ChildGetExtents;
    c->grab_focus = ChildGrabFocus;
}

gboolean ChildDoAction(AtkAction* action, gint i) {
    int row, column;
    _Provider* p = ProviderOfChild(action, &row, &column);
    if (!p || i < 0 || i >= p->ChildActionCount(row, column)) return FALSE;
    return p->ChildAction(row, column, i);
}
gint ChildGetNActions(AtkAction* action) {
    int row, column;
    _Provider* p = ProviderOfChild(action, &row, &column);
    return p ? p->ChildActionCount(row, column) : 0;
}
const gchar* ChildActionName(AtkAction* action, gint i) {
    int row, column;
    _Provider* p = ProviderOfChild(action, &row, &column);
    return p && i >= 0 && i < p->ChildActionCount(row, column) ? p->ChildActionName(row, column, i)
                                                               : nullptr;
}
void ChildActionInit(gpointer iface, gpointer) {
    auto* a = static_cast<AtkActionIface*>(iface);
    a->do_action = ChildDoAction;
    a->get_n_actions = ChildGetNActions;
    a->get_name = ChildActionName;
}

void CellInit(gpointer iface, gpointer); // tables section

GType RegisterType(GType parent, const char* name, guint classSize, GClassInitFunc classInit,
                   guint instanceSize) {
    GTypeInfo info = {};
    info.class_size = guint16(classSize);
    info.class_init = classInit;
    info.instance_size = guint16(instanceSize);
    return g_type_register_static(parent, name, &info, GTypeFlags(0));
}

void AddInterface(GType type, GType iface, GInterfaceInitFunc init) {
    GInterfaceInfo info = {init, nullptr, nullptr};
    g_type_add_interface_static(type, iface, &info);
}

GType ChildType(bool cell) {
    static GType s_Types[2];
    GType& t = s_Types[cell];
    if (!t) {
        t = RegisterType(ATK_TYPE_OBJECT, cell ? "wxsAccessibleCell" : "wxsAccessibleItem",
                         sizeof(_ChildClass), ChildClassInit, sizeof(_Child));
        AddInterface(t, ATK_TYPE_COMPONENT, ChildComponentInit);
        AddInterface(t, ATK_TYPE_ACTION, ChildActionInit);
        if (cell) AddInterface(t, ATK_TYPE_TABLE_CELL, CellInit);
    }
    return t;
}

void TableInit(gpointer iface, gpointer);
void SelectionInit(gpointer iface, gpointer);
void TextInit(gpointer iface, gpointer);

GType AccType(_Kind kind) {
    GType& t = s_AccTypes[int(kind)];
    if (t) return t;
    static const char* const names[] = {"",
                                        "wxsAccessible",
                                        "wxsAccessibleButton",
                                        "wxsAccessibleTable",
                                        "wxsAccessibleText",
                                        "wxsAccessibleItems"};
    t = RegisterType(GTK_TYPE_CONTAINER_ACCESSIBLE, names[int(kind)], sizeof(_AccClass),
                     AccClassInit, sizeof(_Acc));
    switch (kind) {
    case _Kind::Action:
        AddInterface(t, ATK_TYPE_ACTION, AccActionInit);
        break;
    case _Kind::Table:
        AddInterface(t, ATK_TYPE_TABLE, TableInit);
        AddInterface(t, ATK_TYPE_SELECTION, SelectionInit);
        break;
    case _Kind::Text:
        AddInterface(t, ATK_TYPE_TEXT, TextInit);
        break;
    case _Kind::Items:
        AddInterface(t, ATK_TYPE_SELECTION, SelectionInit);
        break;
    default:
        break;
    }
    return t;
}

// ---- the class hook ----

using _GetAccessible = AtkObject* (*)(GtkWidget*);
std::unordered_map<GType, _GetAccessible> s_Original;
GQuark s_WindowQuark, s_ObjectQuark;

std::unique_ptr<_Provider> ProviderFor(wxWindow* window, GtkWidget* widget);

_GetAccessible OriginalOf(GtkWidget* widget) {
    for (GType t = G_OBJECT_TYPE(widget); t; t = g_type_parent(t)) {
        auto it = s_Original.find(t);
        if (it != s_Original.end()) return it->second;
    }
    return nullptr;
}

void WidgetDestroyed(GtkWidget* widget, gpointer) {
    g_object_set_qdata(G_OBJECT(widget), s_WindowQuark, nullptr);
    auto* object = static_cast<AtkObject*>(g_object_steal_qdata(G_OBJECT(widget), s_ObjectQuark));
    if (!object) return;
    _Acc* acc = reinterpret_cast<_Acc*>(object);
    delete acc->provider; // before the window's last parts go: it unbinds from them
    acc->provider = nullptr;
    gtk_accessible_set_widget(GTK_ACCESSIBLE(object), nullptr);
    g_object_unref(object);
}

// The window a registered widget belongs to; for an unregistered one, the wx window of a tab
// strip inside a registered notebook.
wxWindow* WindowOf(GtkWidget* widget) {
    if (auto* w = static_cast<wxWindow*>(g_object_get_qdata(G_OBJECT(widget), s_WindowQuark)))
        return w;
    GtkWidget* parent = gtk_widget_get_parent(widget);
    auto* book = parent
                     ? static_cast<wxWindow*>(g_object_get_qdata(G_OBJECT(parent), s_WindowQuark))
                     : nullptr;
    if (!dynamic_cast<wxAuiNotebook*>(book)) return nullptr;
    for (wxWindow* child : book->GetChildren())
        if (child->m_wxwindow == widget && dynamic_cast<wxAuiTabCtrl*>(child)) return child;
    return nullptr;
}

AtkObject* GetAccessible(GtkWidget* widget) {
    if (auto* own = static_cast<AtkObject*>(g_object_get_qdata(G_OBJECT(widget), s_ObjectQuark)))
        return own;
    _GetAccessible original = OriginalOf(widget);
    wxWindow* window = WindowOf(widget);
    // A window that is being made or destroyed gets GTK's object for now; asked again later,
    // it gets the library's.
    std::unique_ptr<_Provider> p =
        window && !window->IsBeingDeleted() ? ProviderFor(window, widget) : nullptr;
    if (!p) return original(widget);
    if (p->Kind() == _Kind::NameOnly) {
        AtkObject* object = original(widget);
        const wxString name = p->Name();
        const char* had = atk_object_get_name(object);
        if (!name.empty() && (!had || !*had)) atk_object_set_name(object, Utf8(name).c_str());
        return object;
    }
    AtkObject* object = ATK_OBJECT(g_object_new(AccType(p->Kind()), "widget", widget, nullptr));
    reinterpret_cast<_Acc*>(object)->provider = p.get();
    atk_object_initialize(object, widget);
    atk_object_set_role(object, p->Role());
    g_object_set_qdata(G_OBJECT(widget), s_ObjectQuark, object);
    g_signal_connect(widget, "destroy", G_CALLBACK(WidgetDestroyed), nullptr);
    p.release()->SetObject(object);
    return object;
}

void HookClass(GtkWidget* widget) {
    GtkWidgetClass* klass = GTK_WIDGET_GET_CLASS(widget);
    if (klass->get_accessible == GetAccessible) return;
    s_Original[G_TYPE_FROM_CLASS(klass)] = klass->get_accessible;
    klass->get_accessible = GetAccessible;
}

// ---- naming ----

wxString Plain(const wxString& label) {
    wxString s = wxStripMenuCodes(label, wxStrip_Mnemonics);
    s.Trim().Trim(false);
    if (s.EndsWith(":")) s.RemoveLast();
    return s;
}

wxString TooltipOf(const wxWindow* w) {
    const wxToolTip* tip = w->GetToolTip();
    return tip ? Plain(tip->GetTip().BeforeFirst('\n')) : wxString();
}

// The notebook page, folding panel or docked pane around a window.
wxString ContextName(wxWindow* window) {
    for (wxWindow* w = window; w && !w->IsTopLevel(); w = w->GetParent()) {
        wxWindow* parent = w->GetParent();
        if (auto* book = dynamic_cast<wxAuiNotebook*>(parent)) {
            const int page = book->GetPageIndex(w);
            if (page != wxNOT_FOUND) return Plain(book->GetPageText(size_t(page)));
        }
        if (auto* book = dynamic_cast<wxBookCtrlBase*>(parent)) {
            const int page = book->FindPage(w);
            if (page != wxNOT_FOUND) return Plain(book->GetPageText(size_t(page)));
        }
        if (auto* panel = dynamic_cast<wxExpandablePanel*>(w))
            if (panel->GetHeaderLabel()) return Plain(panel->GetHeaderLabel()->GetLabel());
        if (wxAuiManager* aui = wxAuiManager::GetManager(w)) {
            const wxAuiPaneInfo& pane = aui->GetPane(w);
            if (pane.IsOk() && !pane.caption.empty()) return Plain(pane.caption);
        }
    }
    return wxString();
}

// The static text just before a field among its siblings.
wxString LabelInFront(wxWindow* window) {
    wxWindow* parent = window->GetParent();
    if (!parent) return wxString();
    wxWindow* before = nullptr;
    for (wxWindow* child : parent->GetChildren()) {
        if (child == window) break;
        if (child->IsShown()) before = child;
    }
    auto* text = dynamic_cast<wxStaticText*>(before);
    // A folding panel's header names the panel, not the field below it.
    auto* panel = dynamic_cast<wxExpandablePanel*>(parent);
    if (!text || (panel && panel->GetHeaderLabel() == text)) return wxString();
    return Plain(text->GetLabel());
}

wxString NameOf(wxWindow* window, bool field) {
    wxString name = Plain(window->GetLabel());
    if (name.empty() && field) name = LabelInFront(window);
    if (name.empty())
        if (auto* entry = dynamic_cast<wxTextEntry*>(window)) name = Plain(entry->GetHint());
    if (name.empty()) name = ContextName(window);
    if (name.empty()) name = TooltipOf(window);
    return name;
}

// ---- buttons and fields ----

// A name and a role; the window's children stay its children.
class _PlainProvider : public _Provider {
public:
    _PlainProvider(wxWindow* w, AtkRole role, _Kind kind = _Kind::Plain)
        : _Provider(w), m_Role(role), m_Kind(kind) {}
    _Kind Kind() const override { return m_Kind; }
    AtkRole Role() const override { return m_Role; }
    wxString Name() const override {
        wxWindow* w = Window();
        return w ? NameOf(w, m_Role == ATK_ROLE_COMBO_BOX || m_Role == ATK_ROLE_TEXT) : wxString();
    }
    AtkRole ChildRole(int, int) const override { return ATK_ROLE_UNKNOWN; }

private:
    AtkRole m_Role;
    _Kind m_Kind;
};

// Push buttons, check boxes, radio buttons and the folding panels' toggles: "click".
class _ButtonProvider : public _PlainProvider {
public:
    _ButtonProvider(wxWindow* w, AtkRole role) : _PlainProvider(w, role, _Kind::Action) {}
    wxString Name() const override {
        wxWindow* w = Window();
        if (!w) return wxString();
        if (w->GetId() == wxsTextCtrl::ClearButtonId && dynamic_cast<wxsButton*>(w))
            return wxGetTranslation("Clear");
        if (dynamic_cast<wxTextLineSearchPanel*>(w->GetParent()) && w->GetId() == 0)
            return wxGetTranslation("Close search");
        if (auto* panel = dynamic_cast<wxExpandablePanel*>(w->GetParent()))
            if (panel->GetExpandButton() == w && panel->GetHeaderLabel())
                return Plain(panel->GetHeaderLabel()->GetLabel());
        return NameOf(w, false);
    }
    void AddStates(AtkStateSet* set) const override {
        wxWindow* w = Window();
        if (auto* check = dynamic_cast<wxsCheckBox*>(w)) {
            atk_state_set_add_state(set, ATK_STATE_CHECKABLE);
            if (check->GetValue()) atk_state_set_add_state(set, ATK_STATE_CHECKED);
        } else if (auto* button = dynamic_cast<wxsButton*>(w)) {
            if (button->IsDefault()) atk_state_set_add_state(set, ATK_STATE_DEFAULT);
        } else if (auto* panel = dynamic_cast<wxExpandablePanel*>(w ? w->GetParent() : nullptr)) {
            atk_state_set_add_state(set, ATK_STATE_EXPANDABLE);
            if (panel->IsExpanded()) {
                atk_state_set_add_state(set, ATK_STATE_EXPANDED);
                atk_state_set_add_state(set, ATK_STATE_CHECKED);
            }
        }
    }
    int ActionCount() const override { return 1; }
    const char* ActionName(int) const override { return "click"; }
    bool DoAction(int) override {
        wxWindow* w = Window();
        if (!w || !w->IsEnabled()) return false;
        if (auto* button = dynamic_cast<wxsButton*>(w)) {
            button->EmulateClick();
        } else if (auto* check = dynamic_cast<wxsCheckBox*>(w)) {
            check->HandleClick();
            wxCommandEvent event(check->ClickEventType(), check->GetId());
            event.SetEventObject(check);
            event.SetInt(check->GetValue());
            check->GetEventHandler()->ProcessEvent(event);
        } else {
            wxCommandEvent event(wxEVT_BUTTON, w->GetId());
            event.SetEventObject(w);
            w->GetEventHandler()->ProcessEvent(event);
        }
        Touch();
        return true;
    }
};

// GTK's own text field, named.
class _NameProvider : public _PlainProvider {
public:
    explicit _NameProvider(wxWindow* w) : _PlainProvider(w, ATK_ROLE_TEXT, _Kind::NameOnly) {}
};

// The bar chart: its values as description.
class _ChartProvider : public _PlainProvider {
public:
    explicit _ChartProvider(wxBarHistoryCtrl* w) : _PlainProvider(w, ATK_ROLE_CHART) {}
    wxString Description() const override {
        auto* chart = dynamic_cast<wxBarHistoryCtrl*>(Window());
        if (!chart || chart->GetHistory().empty()) return wxGetTranslation("No values yet");
        const auto& h = chart->GetHistory();
        return wxString::Format(wxGetTranslation("Current %u, peak %u, average %llu"),
                                chart->GetCurrent(), chart->GetPeak(),
                                (unsigned long long)(chart->GetSum() / h.size()));
    }
};

} // namespace

// ---- tables ----

namespace {

// A list or tree list body: rows by columns of cells, the rows' selection, the anchor row as
// the focused one, and in a tree the first column's cells expandable.
class _TableProvider : public _Provider {
public:
    explicit _TableProvider(wxDBListBody* body) : _Provider(body), m_Body(body) {}
    _Kind Kind() const override { return _Kind::Table; }
    AtkRole Role() const override { return Tree() ? ATK_ROLE_TREE_TABLE : ATK_ROLE_TABLE; }
    wxString Name() const override {
        wxDBListCtrl* list = List();
        return list ? NameOf(list, false) : wxString();
    }
    void AddStates(AtkStateSet* set) const override {
        atk_state_set_add_state(set, ATK_STATE_MANAGES_DESCENDANTS);
        if (List() && !List()->IsSingleSelection())
            atk_state_set_add_state(set, ATK_STATE_MULTISELECTABLE);
    }

    wxDBListCtrl* List() const { return Window() ? m_Body->GetListCtrl() : nullptr; }
    wxDBTreeListCtrl* Tree() const { return dynamic_cast<wxDBTreeListCtrl*>(List()); }
    int Rows() const { return List() ? List()->GetItemCount() : 0; }
    int Columns() const { return List() ? List()->GetColumnCount() : 0; }
    bool IsCell(int row, int column) const {
        return row >= 0 && row < Rows() && column >= 0 && column < Columns();
    }

    int ChildCount() override {
        return int(std::min<int64_t>(int64_t(Rows()) * Columns(), INT_MAX));
    }
    void ChildPosition(int index, int* row, int* column) const override {
        const int n = std::max(1, Columns());
        *row = index / n, *column = index % n;
    }
    int ChildIndex(int row, int column) const override {
        if (row < 0) return -1;
        return int(std::min<int64_t>(int64_t(row) * Columns() + column, INT_MAX));
    }
    AtkRole ChildRole(int row, int) const override {
        return row < 0 ? ATK_ROLE_TABLE_COLUMN_HEADER : ATK_ROLE_TABLE_CELL;
    }
    wxString ChildName(int row, int column) const override {
        wxDBListCtrl* list = List();
        if (!list || column < 0 || column >= Columns()) return wxString();
        if (row < 0) return wxFromString(list->GetColumnName(column));
        if (row >= Rows()) return wxString();
        try {
            return wxFromString(list->GetDisplayText(row, column));
        } catch (...) { // a hook that fails shows an empty cell, as the paint does
            return wxString();
        }
    }
    void ChildStates(int row, int column, AtkStateSet* set) const override {
        wxDBListCtrl* list = List();
        if (!list || row < 0 || !IsCell(row, column)) return;
        atk_state_set_add_state(set, ATK_STATE_TRANSIENT);
        atk_state_set_add_state(set, ATK_STATE_SELECTABLE);
        atk_state_set_add_state(set, ATK_STATE_FOCUSABLE);
        if (list->IsRowSelected(row)) atk_state_set_add_state(set, ATK_STATE_SELECTED);
        if (row == list->GetLastSelect() && m_Body->HasFocus())
            atk_state_set_add_state(set, ATK_STATE_FOCUSED);
        if (column == 0)
            if (wxDBTreeListItem* item = Tree() ? Tree()->ItemAtRow(row) : nullptr)
                if (item->HasChildren()) {
                    atk_state_set_add_state(set, ATK_STATE_EXPANDABLE);
                    if (item->IsExpanded()) atk_state_set_add_state(set, ATK_STATE_EXPANDED);
                }
    }
    wxRect ChildRect(int row, int column) const override {
        if (!List() || column < 0 || column >= Columns()) return wxRect();
        const wxRect cell = m_Body->GetCellRect(std::max(row, 0), column);
        if (row >= 0) return cell;
        // Column headers sit in the header above the body.
        const wxDBListHeader* header = List()->GetHeader();
        const int height = header ? header->GetSize().y : 0;
        return wxRect(cell.x, -height, cell.width, height);
    }
    int ChildActionCount(int row, int column) const override {
        if (row < 0) return 1; // a column header sorts, as its click does
        AtkStateSet* set = atk_state_set_new();
        ChildStates(row, column, set);
        const bool expandable = atk_state_set_contains_state(set, ATK_STATE_EXPANDABLE);
        g_object_unref(set);
        return expandable ? 2 : 1;
    }
    const char* ChildActionName(int row, int, int i) const override {
        return row < 0 ? "click" : i == 0 ? "activate" : "expand or contract";
    }
    bool ChildAction(int row, int column, int i) override {
        wxDBListCtrl* list = List();
        if (!list || !(row < 0 ? column < Columns() : IsCell(row, column))) return false;
        if (row < 0) {
            m_Body->SendListEvent(wxEVT_LIST_COL_CLICK, ChildRect(row, column).GetPosition(),
                                  column, -1);
        } else if (i == 0) {
            m_Body->SendListEvent(wxEVT_LIST_ITEM_ACTIVATED, ChildRect(row, column).GetPosition(),
                                  column, row);
        } else if (wxDBTreeListItem* item = Tree() ? Tree()->ItemAtRow(row) : nullptr) {
            Tree()->Toggle(item);
        }
        Touch();
        return true;
    }

    std::vector<int> SelectedChildren() const override {
        std::vector<int> children;
        for (int row : SelectedRows())
            children.push_back(ChildIndex(row, 0));
        return children;
    }
    bool SelectChild(int index, bool on) override {
        int row = 0, column = 0;
        ChildPosition(index, &row, &column);
        if (on)
            SelectRow(row, true);
        else
            DeselectRow(row);
        return true;
    }
    bool SelectAll() override {
        // Row by row, as a Shift range does: not for tables too long to walk.
        if (!List() || List()->IsSingleSelection() || Rows() > 100000) return false;
        for (int row = 0; row < Rows(); ++row)
            SelectRow(row, true);
        return true;
    }

    // Selection by rows, as a click would make it.
    void SelectRow(int row, bool add) {
        wxDBListCtrl* list = List();
        if (!list || row < 0 || row >= Rows() || list->IsRowSelected(row)) return;
        const wxPoint at = m_Body->GetItemRect(row).GetPosition();
        if (!add || list->IsSingleSelection()) m_Body->DeselectAll(true);
        m_Body->ProcessSelection(row, at, false, add);
        list->SetLastSelect(row);
        list->EnsureVisible(row);
        Touch();
    }
    void DeselectRow(int row) {
        wxDBListCtrl* list = List();
        if (!list || row < 0 || row >= Rows() || !list->IsRowSelected(row)) return;
        m_Body->SendListEvent(wxEVT_LIST_ITEM_DESELECTED, wxPoint(0, 0), row);
        Touch();
    }
    std::vector<int> SelectedRows() const {
        std::vector<int> rows = List() ? List()->GetSelection() : std::vector<int>();
        std::sort(rows.begin(), rows.end());
        return rows;
    }
    bool ClearSelection() override {
        if (!List()) return false;
        m_Body->DeselectAll(false);
        Touch();
        return true;
    }

    std::string m_ColumnBuf;

protected:
    bool IsTable() const override { return true; }
    void Watch() override {
        _Provider::Watch();
        wxDBListCtrl* list = List();
        if (!list) return;
        list->Bind(wxEVT_LIST_ITEM_SELECTED, &_TableProvider::OnSelection, this);
        list->Bind(wxEVT_LIST_ITEM_DESELECTED, &_TableProvider::OnSelection, this);
        m_Body->Bind(wxEVT_SET_FOCUS, &_TableProvider::OnFocus, this);
        m_Rows = Rows();
        m_LastAnchor = list->GetLastSelect();
    }
    void Flush() override {
        wxDBListCtrl* list = List();
        if (!list) return;
        const int rows = Rows();
        const int64_t top = m_Body->GetScrollPixel(wxVERTICAL);
        if (rows != m_Rows) {
            if (rows > m_Rows)
                g_signal_emit_by_name(m_Object, "row-inserted", m_Rows, rows - m_Rows);
            else
                g_signal_emit_by_name(m_Object, "row-deleted", rows, m_Rows - rows);
            m_Rows = rows;
        }
        if (rows != m_VisibleRows || top != m_Top) {
            m_VisibleRows = rows, m_Top = top;
            g_signal_emit_by_name(m_Object, "visible-data-changed");
        }
        if (m_SelectionChanged) {
            m_SelectionChanged = false;
            g_signal_emit_by_name(m_Object, "selection-changed");
        }
        _Provider::Flush();
        const int anchor = list->GetLastSelect();
        if (anchor != m_LastAnchor && m_Body->HasFocus() && anchor >= 0 && anchor < rows) {
            AtkObject* cell = RefChild(anchor, 0);
            g_signal_emit_by_name(m_Object, "active-descendant-changed", cell);
            g_object_unref(cell);
        }
        m_LastAnchor = anchor;
    }
    void OnSelection(wxListEvent& e) {
        e.Skip();
        m_SelectionChanged = true;
        Touch();
    }
    void OnFocus(wxFocusEvent& e) {
        e.Skip();
        m_LastAnchor = -2; // the focused row is told again
        Touch();
    }

    wxDBListBody* m_Body;
    int m_Rows = 0, m_VisibleRows = -1, m_LastAnchor = -1;
    int64_t m_Top = -1;
    bool m_SelectionChanged = false;
};

} // namespace

namespace {

_TableProvider* TableOf(gpointer object) {
    return dynamic_cast<_TableProvider*>(Live(object));
}

AtkObject* TableRefAt(AtkTable* table, gint row, gint column) {
    _TableProvider* t = TableOf(table);
    return t && t->IsCell(row, column) ? t->RefChild(row, column) : nullptr;
}
gint TableIndexAt(AtkTable* table, gint row, gint column) {
    _TableProvider* t = TableOf(table);
    return t && t->IsCell(row, column) ? t->ChildIndex(row, column) : -1;
}
gint TableColumnAt(AtkTable* table, gint index) {
    _TableProvider* t = TableOf(table);
    int row = -1, column = -1;
    if (t && index >= 0) t->ChildPosition(index, &row, &column);
    return column;
}
gint TableRowAt(AtkTable* table, gint index) {
    _TableProvider* t = TableOf(table);
    int row = -1, column = -1;
    if (t && index >= 0) t->ChildPosition(index, &row, &column);
    return row;
}
gint TableNColumns(AtkTable* table) {
    _TableProvider* t = TableOf(table);
    return t ? t->Columns() : 0;
}
gint TableNRows(AtkTable* table) {
    _TableProvider* t = TableOf(table);
    return t ? t->Rows() : 0;
}
const gchar* TableColumnDescription(AtkTable* table, gint column) {
    _TableProvider* t = TableOf(table);
    if (!t || column < 0 || column >= t->Columns()) return nullptr;
    return t->Keep(t->m_ColumnBuf, t->ChildName(-1, column));
}
AtkObject* TableColumnHeader(AtkTable* table, gint column) {
    _TableProvider* t = TableOf(table);
    if (!t || column < 0 || column >= t->Columns()) return nullptr;
    AtkObject* header = t->RefChild(-1, column);
    g_object_unref(header); // the table keeps it; ATK hands it out unowned here
    return header;
}
gint TableSelectedRows(AtkTable* table, gint** selected) {
    _TableProvider* t = TableOf(table);
    const std::vector<int> rows = t ? t->SelectedRows() : std::vector<int>();
    if (selected) {
        *selected = rows.empty() ? nullptr : g_new(gint, rows.size());
        std::copy(rows.begin(), rows.end(), rows.empty() ? nullptr : *selected);
    }
    return gint(rows.size());
}
gboolean TableIsRowSelected(AtkTable* table, gint row) {
    _TableProvider* t = TableOf(table);
    return t && row >= 0 && row < t->Rows() && t->List()->IsRowSelected(row);
}
gboolean TableIsSelected(AtkTable* table, gint row, gint) {
    return TableIsRowSelected(table, row);
}
gboolean TableAddRowSelection(AtkTable* table, gint row) {
    _TableProvider* t = TableOf(table);
    if (!t || row < 0 || row >= t->Rows()) return FALSE;
    t->SelectRow(row, true);
    return TRUE;
}
gboolean TableRemoveRowSelection(AtkTable* table, gint row) {
    _TableProvider* t = TableOf(table);
    if (!t || row < 0 || row >= t->Rows()) return FALSE;
    t->DeselectRow(row);
    return TRUE;
}

void TableInit(gpointer iface, gpointer) {
    auto* t = static_cast<AtkTableIface*>(iface);
    t->ref_at = TableRefAt;
    t->get_index_at = TableIndexAt;
    t->get_column_at_index = TableColumnAt;
    t->get_row_at_index = TableRowAt;
    t->get_n_columns = TableNColumns;
    t->get_n_rows = TableNRows;
    t->get_column_description = TableColumnDescription;
    t->get_column_header = TableColumnHeader;
    t->get_selected_rows = TableSelectedRows;
    t->is_row_selected = TableIsRowSelected;
    t->is_selected = TableIsSelected;
    t->add_row_selection = TableAddRowSelection;
    t->remove_row_selection = TableRemoveRowSelection;
}

// AtkTableCell of a cell.
gboolean CellPosition(AtkTableCell* cell, gint* row, gint* column) {
    int r, c;
    _Provider* p = ProviderOfChild(cell, &r, &c);
    if (row) *row = r;
    if (column) *column = c;
    return p != nullptr;
}
gint CellSpan(AtkTableCell*) {
    return 1;
}
AtkObject* CellTable(AtkTableCell* cell) {
    _Child* child = reinterpret_cast<_Child*>(cell);
    return child->owner ? ATK_OBJECT(g_object_ref(child->owner)) : nullptr;
}
GPtrArray* CellColumnHeaders(AtkTableCell* cell) {
    GPtrArray* headers = g_ptr_array_new_with_free_func(g_object_unref);
    int row, column;
    if (_Provider* p = ProviderOfChild(cell, &row, &column))
        if (row >= 0) g_ptr_array_add(headers, p->RefChild(-1, column));
    return headers;
}
GPtrArray* CellRowHeaders(AtkTableCell*) {
    return g_ptr_array_new_with_free_func(g_object_unref);
}
void CellInit(gpointer iface, gpointer) {
    auto* c = static_cast<AtkTableCellIface*>(iface);
    c->get_position = CellPosition;
    c->get_column_span = CellSpan;
    c->get_row_span = CellSpan;
    c->get_table = CellTable;
    c->get_column_header_cells = CellColumnHeaders;
    c->get_row_header_cells = CellRowHeaders;
}

// AtkSelection of tables and item lists.
gboolean SelAdd(AtkSelection* s, gint i) {
    _Provider* p = Live(s);
    return p && p->SelectChild(i, true);
}
gboolean SelRemove(AtkSelection* s, gint i) {
    _Provider* p = Live(s);
    const std::vector<int> selected = p ? p->SelectedChildren() : std::vector<int>();
    return i >= 0 && size_t(i) < selected.size() && p->SelectChild(selected[size_t(i)], false);
}
gboolean SelClear(AtkSelection* s) {
    _Provider* p = Live(s);
    return p && p->ClearSelection();
}
gboolean SelAll(AtkSelection* s) {
    _Provider* p = Live(s);
    return p && p->SelectAll();
}
gint SelCount(AtkSelection* s) {
    _Provider* p = Live(s);
    return p ? gint(p->SelectedChildren().size()) : 0;
}
AtkObject* SelRef(AtkSelection* s, gint i) {
    _Provider* p = Live(s);
    const std::vector<int> selected = p ? p->SelectedChildren() : std::vector<int>();
    if (i < 0 || size_t(i) >= selected.size()) return nullptr;
    int row = 0, column = 0;
    p->ChildPosition(selected[size_t(i)], &row, &column);
    return p->RefChild(row, column);
}
gboolean SelIsSelected(AtkSelection* s, gint i) {
    _Provider* p = Live(s);
    const std::vector<int> selected = p ? p->SelectedChildren() : std::vector<int>();
    if (auto* t = dynamic_cast<_TableProvider*>(p)) { // any cell of a selected row
        int row = 0, column = 0;
        t->ChildPosition(i, &row, &column);
        return t->IsCell(row, column) && t->List()->IsRowSelected(row);
    }
    return std::find(selected.begin(), selected.end(), i) != selected.end();
}
void SelectionInit(gpointer iface, gpointer) {
    auto* s = static_cast<AtkSelectionIface*>(iface);
    s->add_selection = SelAdd;
    s->remove_selection = SelRemove;
    s->clear_selection = SelClear;
    s->select_all_selection = SelAll;
    s->get_selection_count = SelCount;
    s->ref_selection = SelRef;
    s->is_child_selected = SelIsSelected;
}

// ---- text ----

// The text line viewer as read-only multi-line text: its lines joined by newlines. Character
// offsets of the lines are counted when first asked for and kept while lines are only
// appended; an edit elsewhere (sorted insertion, erasing, clearing) counts again.
class _TextProvider : public _Provider {
public:
    explicit _TextProvider(wxTextLineCtrl* text) : _Provider(text), m_Text(text) {}
    _Kind Kind() const override { return _Kind::Text; }
    AtkRole Role() const override { return ATK_ROLE_TEXT; }
    wxString Name() const override { return Window() ? NameOf(m_Text, false) : wxString(); }
    void AddStates(AtkStateSet* set) const override {
        atk_state_set_add_state(set, ATK_STATE_MULTI_LINE);
        atk_state_set_add_state(set, ATK_STATE_READ_ONLY);
        atk_state_set_add_state(set, ATK_STATE_SELECTABLE_TEXT);
        atk_state_set_remove_state(set, ATK_STATE_EDITABLE);
    }
    AtkRole ChildRole(int, int) const override { return ATK_ROLE_UNKNOWN; }
    int ChildCount() override { return 0; }

    // Counts offsets up to line `upTo` (exclusive; the whole text with -1).
    void Count(int upTo) {
        if (m_Edits != m_Text->GetEditCount() || m_Starts.empty()) {
            m_Edits = m_Text->GetEditCount();
            m_Starts.assign(1, 0);
        }
        const int lines = m_Text->GetCount();
        const int stop = upTo < 0 ? lines : std::min(upTo, lines);
        while (int(m_Starts.size()) <= stop && int(m_Starts.size()) <= lines) {
            const int i = int(m_Starts.size()) - 1;
            const int64_t length = g_utf8_strlen(ValidUtf8(m_Text->GetStore().Line(i)).c_str(), -1);
            m_Starts.push_back(m_Starts.back() + length + 1);
        }
    }
    // Characters of the whole text (no newline after the last line), within an int.
    int Length() {
        Count(-1);
        const int lines = m_Text->GetCount();
        return lines ? int(std::min<int64_t>(m_Starts[size_t(lines)] - 1, INT_MAX)) : 0;
    }
    int64_t LineStart(int line) {
        Count(line + 1);
        return m_Starts[size_t(std::min<int64_t>(line, int64_t(m_Starts.size()) - 1))];
    }
    // The line holding `offset` (a newline belongs to the line it ends).
    int LineAt(int offset) {
        Length();
        auto it = std::upper_bound(m_Starts.begin(), m_Starts.end(), int64_t(offset));
        return int(std::max<ptrdiff_t>(0, it - m_Starts.begin() - 1));
    }
    std::string LineText(int line) const {
        return line >= 0 && line < m_Text->GetCount() ? ValidUtf8(m_Text->GetStore().Line(line))
                                                      : std::string();
    }
    // Characters start .. end (-1: to the end).
    std::string Text(int start, int end) {
        const int length = Length();
        if (end < 0 || end > length) end = length;
        if (start < 0) start = 0;
        std::string out;
        for (int line = LineAt(start); start < end && line < m_Text->GetCount(); ++line) {
            const int64_t from = LineStart(line);
            const std::string text = LineText(line) + "\n";
            const glong chars = g_utf8_strlen(text.c_str(), -1);
            const glong a = glong(std::max<int64_t>(start - from, 0));
            const glong b = glong(std::min<int64_t>(end - from, chars));
            if (b > a) {
                const char* p = g_utf8_offset_to_pointer(text.c_str(), a);
                out.append(p, size_t(g_utf8_offset_to_pointer(text.c_str(), b) - p));
            }
            start = int(from + chars);
        }
        return out;
    }
    int FirstVisibleLine() const {
        return int(m_Text->GetScrollPixel(wxVERTICAL) / std::max(1, m_Text->GetLineHeight()));
    }
    int Caret() {
        int line = 0, column = 0, length = 0;
        if (m_Text->GetSearchHit(line, column, length) && line < m_Text->GetCount())
            return int(std::min<int64_t>(LineStart(line) + column, INT_MAX));
        int anchor = -1, end = -1;
        m_Text->GetSelection(anchor, end);
        if (end >= 0 && end < m_Text->GetCount()) return int(LineStart(end));
        return int(std::min<int64_t>(LineStart(std::min(FirstVisibleLine(), m_Text->GetCount())),
                                     INT_MAX));
    }
    bool Selection(int* start, int* end) {
        int anchor = -1, last = -1;
        m_Text->GetSelection(anchor, last);
        const int lo = std::max(0, std::min(anchor, last));
        const int hi = std::min(std::max(anchor, last), m_Text->GetCount() - 1);
        if (std::max(anchor, last) < 0 || lo > hi) return false;
        *start = int(LineStart(lo));
        *end = int(
            std::min<int64_t>(LineStart(hi) + g_utf8_strlen(LineText(hi).c_str(), -1), INT_MAX));
        return true;
    }
    // Client rectangle of the character at (line, column).
    wxRect CharRect(int line, int column) const {
        const int cw = m_Text->GetUnitWidth(), lh = m_Text->GetLineHeight();
        const int64_t x = int64_t(column) * cw + cw / 2 - m_Text->GetScrollPixel(wxHORIZONTAL);
        const int64_t y = int64_t(line) * lh - m_Text->GetScrollPixel(wxVERTICAL);
        auto clamp = [](int64_t v) {
            return int(std::max<int64_t>(INT_MIN / 2, std::min<int64_t>(v, INT_MAX / 2)));
        };
        return wxRect(clamp(x), clamp(y), cw, lh);
    }
    int OffsetAt(wxPoint p) {
        const int cw = std::max(1, m_Text->GetUnitWidth()),
                  lh = std::max(1, m_Text->GetLineHeight());
        const int64_t line = (p.y + m_Text->GetScrollPixel(wxVERTICAL)) / lh;
        if (p.y < 0 || line >= m_Text->GetCount()) return -1;
        const int64_t x = p.x - cw / 2 + m_Text->GetScrollPixel(wxHORIZONTAL);
        const int64_t column = std::max<int64_t>(0, x / cw);
        const int64_t chars = g_utf8_strlen(LineText(int(line)).c_str(), -1);
        return int(std::min<int64_t>(LineStart(int(line)) + std::min(column, chars), INT_MAX));
    }

    wxTextLineCtrl* m_Text;

protected:
    void Watch() override {
        _Provider::Watch();
        m_Lines = m_Text->GetCount();
        m_Edits = m_Text->GetEditCount();
    }
    void Flush() override {
        _Provider::Flush();
        const int lines = m_Text->GetCount();
        const bool appended = m_Text->GetEditCount() == m_Edits && lines > m_Lines;
        // New lines at the end are told with their text while it is short; anything else
        // only as a change of what is shown.
        if (appended && int(m_Starts.size()) > m_Lines && m_Lines > 0) {
            const int from = int(std::min<int64_t>(LineStart(m_Lines) - 1, INT_MAX));
            const int to = Length();
            if (to - from <= 65536) {
                const std::string added = Text(from, to);
                g_signal_emit_by_name(m_Object, "text-insert", from, to - from, added.c_str());
            }
        }
        m_Lines = lines;
        int anchor = -1, end = -1, hit = -1, column = 0, length = 0;
        m_Text->GetSelection(anchor, end);
        if (!m_Text->GetSearchHit(hit, column, length)) hit = -1;
        const int64_t top = m_Text->GetScrollPixel(wxVERTICAL);
        if (anchor != m_Anchor || end != m_End) {
            m_Anchor = anchor, m_End = end;
            g_signal_emit_by_name(m_Object, "text-selection-changed");
        }
        if (hit != m_Hit || column != m_HitColumn) {
            m_Hit = hit, m_HitColumn = column;
            g_signal_emit_by_name(m_Object, "text-caret-moved", Caret());
        }
        if (top != m_Top || !appended) {
            m_Top = top;
            g_signal_emit_by_name(m_Object, "visible-data-changed");
        }
    }

    std::vector<int64_t> m_Starts;
    uint64_t m_Edits = 0;
    int m_Lines = 0, m_Anchor = -1, m_End = -1, m_Hit = -1, m_HitColumn = -1;
    int64_t m_Top = -1;
};

_TextProvider* TextOf(gpointer object) {
    return dynamic_cast<_TextProvider*>(Live(object));
}

gchar* TextGetText(AtkText* text, gint start, gint end) {
    _TextProvider* t = TextOf(text);
    return g_strdup(t ? t->Text(start, end).c_str() : "");
}
gint TextCount(AtkText* text) {
    _TextProvider* t = TextOf(text);
    return t ? t->Length() : 0;
}
gint TextCaret(AtkText* text) {
    _TextProvider* t = TextOf(text);
    return t ? t->Caret() : 0;
}
gunichar TextCharAt(AtkText* text, gint offset) {
    _TextProvider* t = TextOf(text);
    const std::string c = t ? t->Text(offset, offset + 1) : std::string();
    return c.empty() ? 0 : g_utf8_get_char(c.c_str());
}

// The span of the given unit around `offset`: lines (and paragraphs, which are lines here),
// words between blanks, single characters.
gchar* TextStringAt(AtkText* text, gint offset, AtkTextGranularity unit, gint* start, gint* end) {
    *start = *end = -1;
    _TextProvider* t = TextOf(text);
    if (!t) return g_strdup("");
    const int length = t->Length();
    if (offset < 0 || offset > length) return g_strdup("");
    if (unit == ATK_TEXT_GRANULARITY_CHAR) {
        *start = offset, *end = std::min(offset + 1, length);
    } else {
        const int line = t->LineAt(offset);
        const int from = int(t->LineStart(line));
        const std::string lineText = t->LineText(line);
        const int chars = int(g_utf8_strlen(lineText.c_str(), -1));
        *start = from, *end = std::min(from + chars + 1, length);
        if (unit == ATK_TEXT_GRANULARITY_WORD) {
            // Within the line: from the start of the word at offset to the start of the next.
            std::vector<gunichar> u;
            for (const char* p = lineText.c_str(); *p; p = g_utf8_next_char(p))
                u.push_back(g_utf8_get_char(p));
            int i = std::min(offset - from, chars);
            while (i > 0 && !g_unichar_isspace(u[size_t(i - 1)]))
                --i;
            int j = std::min(offset - from, chars);
            while (j < chars && !g_unichar_isspace(u[size_t(j)]))
                ++j;
            while (j < chars && g_unichar_isspace(u[size_t(j)]))
                ++j;
            *start = from + i, *end = from + j;
        }
    }
    return g_strdup(t->Text(*start, *end).c_str());
}
AtkTextGranularity Granularity(AtkTextBoundary boundary) {
    switch (boundary) {
    case ATK_TEXT_BOUNDARY_CHAR:
        return ATK_TEXT_GRANULARITY_CHAR;
    case ATK_TEXT_BOUNDARY_WORD_START:
    case ATK_TEXT_BOUNDARY_WORD_END:
        return ATK_TEXT_GRANULARITY_WORD;
    default:
        return ATK_TEXT_GRANULARITY_LINE;
    }
}
gchar* TextAt(AtkText* text, gint offset, AtkTextBoundary b, gint* start, gint* end) {
    return TextStringAt(text, offset, Granularity(b), start, end);
}
gchar* TextAfter(AtkText* text, gint offset, AtkTextBoundary b, gint* start, gint* end) {
    gint s = 0, e = 0;
    g_free(TextStringAt(text, offset, Granularity(b), &s, &e));
    return TextStringAt(text, e, Granularity(b), start, end);
}
gchar* TextBefore(AtkText* text, gint offset, AtkTextBoundary b, gint* start, gint* end) {
    gint s = 0, e = 0;
    g_free(TextStringAt(text, offset, Granularity(b), &s, &e));
    if (s <= 0) {
        *start = *end = 0;
        return g_strdup("");
    }
    return TextStringAt(text, s - 1, Granularity(b), start, end);
}
gint TextNSelections(AtkText* text) {
    _TextProvider* t = TextOf(text);
    int a = 0, b = 0;
    return t && t->Selection(&a, &b) ? 1 : 0;
}
gchar* TextSelection(AtkText* text, gint i, gint* start, gint* end) {
    _TextProvider* t = TextOf(text);
    *start = *end = 0;
    if (!t || i != 0 || !t->Selection(start, end)) return nullptr;
    return g_strdup(t->Text(*start, *end).c_str());
}
void TextExtents(AtkText* text, gint offset, gint* x, gint* y, gint* w, gint* h,
                 AtkCoordType coords) {
    *x = *y = *w = *h = -1;
    _TextProvider* t = TextOf(text);
    if (!t || offset < 0 || offset > t->Length()) return;
    const int line = t->LineAt(offset);
    ToAtk(t->m_Text, t->CharRect(line, int(offset - t->LineStart(line))), coords, x, y, w, h);
}
gint TextOffsetAt(AtkText* text, gint x, gint y, AtkCoordType coords) {
    _TextProvider* t = TextOf(text);
    return t ? t->OffsetAt(FromAtk(t->m_Text, x, y, coords)) : -1;
}
gboolean TextSetCaret(AtkText* text, gint offset) {
    // Brings the line into view; the viewer has no caret of its own.
    _TextProvider* t = TextOf(text);
    if (!t || offset < 0 || offset > t->Length()) return FALSE;
    const int line = t->LineAt(offset);
    wxTextLineCtrl* c = t->m_Text;
    const int64_t y = int64_t(line) * c->GetLineHeight();
    const int64_t pos = c->GetScrollPixel(wxVERTICAL);
    if (y < pos || y + c->GetLineHeight() > pos + c->GetScrollPixelThumb(wxVERTICAL))
        c->ScrollToPixel(wxVERTICAL, y);
    return TRUE;
}
AtkAttributeSet* TextRunAttributes(AtkText* text, gint offset, gint* start, gint* end) {
    *start = 0;
    *end = TextCount(text);
    (void)offset;
    return nullptr;
}
void TextInit(gpointer iface, gpointer) {
    auto* t = static_cast<AtkTextIface*>(iface);
    t->get_text = TextGetText;
    t->get_character_count = TextCount;
    t->get_caret_offset = TextCaret;
    t->get_character_at_offset = TextCharAt;
    t->get_string_at_offset = TextStringAt;
    t->get_text_at_offset = TextAt;
    t->get_text_after_offset = TextAfter;
    t->get_text_before_offset = TextBefore;
    t->get_n_selections = TextNSelections;
    t->get_selection = TextSelection;
    t->get_character_extents = TextExtents;
    t->get_offset_at_point = TextOffsetAt;
    t->set_caret_offset = TextSetCaret;
    t->get_run_attributes = TextRunAttributes;
}

// ---- items ----

// A row of named children with one (or none) selected: the notebook's tab strip, a list
// header's columns, a choice's entries, a check list's rows.
class _ItemsProvider : public _Provider {
public:
    _ItemsProvider(wxWindow* w, AtkRole role, AtkRole itemRole)
        : _Provider(w), m_Role(role), m_ItemRole(itemRole) {}
    _Kind Kind() const override { return _Kind::Items; }
    AtkRole Role() const override { return m_Role; }
    AtkRole ChildRole(int, int) const override { return m_ItemRole; }
    int ChildCount() override { return Window() ? Count() : 0; }
    void ChildStates(int row, int, AtkStateSet* set) const override {
        atk_state_set_add_state(set, ATK_STATE_SELECTABLE);
        if (row == Selected()) atk_state_set_add_state(set, ATK_STATE_SELECTED);
    }
    std::vector<int> SelectedChildren() const override {
        const int s = Selected();
        return s >= 0 ? std::vector<int>{s} : std::vector<int>();
    }
    bool SelectChild(int index, bool on) override {
        if (!on || index < 0 || index >= Count()) return false;
        Select(index);
        Touch();
        return true;
    }
    int ChildActionCount(int, int) const override { return 1; }
    const char* ChildActionName(int, int, int) const override { return "click"; }
    bool ChildAction(int row, int, int) override { return SelectChild(row, true); }

protected:
    virtual int Count() const = 0;
    virtual int Selected() const = 0;
    virtual void Select(int index) = 0;
    void Flush() override {
        const int selected = Selected();
        if (selected != m_LastSelected) {
            m_LastSelected = selected;
            g_signal_emit_by_name(m_Object, "selection-changed");
        }
        _Provider::Flush();
    }

    AtkRole m_Role, m_ItemRole;
    int m_LastSelected = -2;
};

class _TabsProvider : public _ItemsProvider {
public:
    explicit _TabsProvider(wxAuiTabCtrl* tabs)
        : _ItemsProvider(tabs, ATK_ROLE_PAGE_TAB_LIST, ATK_ROLE_PAGE_TAB), m_Tabs(tabs) {}
    wxString Name() const override {
        const wxString name = NameOf(m_Tabs->GetParent(), false);
        return name.empty() ? wxGetTranslation("Pages") : name;
    }
    wxString ChildName(int row, int) const override {
        return row < Count() ? Plain(m_Tabs->GetPage(size_t(row)).caption) : wxString();
    }
    wxRect ChildRect(int row, int) const override {
        return row < Count() ? m_Tabs->GetPage(size_t(row)).rect : wxRect();
    }

protected:
    int Count() const override { return int(m_Tabs->GetPageCount()); }
    int Selected() const override { return m_Tabs->GetActivePage(); }
    void Select(int index) override {
        auto* book = dynamic_cast<wxAuiNotebook*>(m_Tabs->GetParent());
        const int page = book ? book->GetPageIndex(m_Tabs->GetPage(size_t(index)).window) : -1;
        if (page >= 0) book->SetSelection(size_t(page));
    }
    wxAuiTabCtrl* m_Tabs;
};

// A list's header: its columns, whose click sorts as the mouse's does.
class _HeaderProvider : public _ItemsProvider {
public:
    explicit _HeaderProvider(wxDBListHeader* header)
        : _ItemsProvider(header, ATK_ROLE_PANEL, ATK_ROLE_TABLE_COLUMN_HEADER), m_Header(header) {}
    wxString Name() const override { return wxGetTranslation("Column headers"); }
    wxString ChildName(int row, int) const override {
        wxDBListCtrl* list = m_Header->GetListCtrl();
        return row < Count() ? wxFromString(list->GetColumnName(row)) : wxString();
    }
    wxRect ChildRect(int row, int) const override {
        wxDBListCtrl* list = m_Header->GetListCtrl();
        const wxRect c = list->GetBody()->GetColumnRect(row);
        return wxRect(c.x, 0, c.width, m_Header->GetClientSize().y);
    }
    void ChildStates(int, int, AtkStateSet*) const override {}
    std::vector<int> SelectedChildren() const override { return {}; }
    bool ChildAction(int row, int, int) override {
        if (row >= Count()) return false;
        m_Header->SendListEvent(wxEVT_LIST_COL_CLICK, ChildRect(row, 0).GetPosition(), row, -1);
        return true;
    }

protected:
    int Count() const override { return m_Header->GetListCtrl()->GetColumnCount(); }
    int Selected() const override { return -1; }
    void Select(int) override {}
    wxDBListHeader* m_Header;
};

// The themed choice: its entries, the current one selected.
class _ChoiceProvider : public _ItemsProvider {
public:
    explicit _ChoiceProvider(wxsChoice* choice)
        : _ItemsProvider(choice, ATK_ROLE_COMBO_BOX, ATK_ROLE_LIST_ITEM), m_Choice(choice) {}
    wxString Name() const override { return Window() ? NameOf(m_Choice, true) : wxString(); }
    wxString Description() const override { return m_Choice->GetStringSelection(); }
    wxString ChildName(int row, int) const override {
        return row < Count() ? m_Choice->GetString(unsigned(row)) : wxString();
    }

protected:
    int Count() const override { return int(m_Choice->GetCount()); }
    int Selected() const override { return m_Choice->GetSelection(); }
    void Select(int index) override {
        m_Choice->SetSelection(index);
        wxCommandEvent event(wxEVT_COMBOBOX, m_Choice->GetId());
        event.SetEventObject(m_Choice);
        event.SetInt(index);
        event.SetString(m_Choice->GetString(unsigned(index)));
        m_Choice->GetEventHandler()->ProcessEvent(event);
    }
    wxsChoice* m_Choice;
};

// The check list: rows that are ticked and one that is selected; "toggle" ticks.
class _CheckListProvider : public _ItemsProvider {
public:
    explicit _CheckListProvider(wxsCheckListBox* list)
        : _ItemsProvider(list, ATK_ROLE_LIST, ATK_ROLE_CHECK_BOX), m_List(list) {}
    wxString Name() const override { return Window() ? NameOf(m_List, true) : wxString(); }
    wxString ChildName(int row, int) const override {
        return row < Count() ? Plain(m_List->GetString(unsigned(row))) : wxString();
    }
    void ChildStates(int row, int column, AtkStateSet* set) const override {
        _ItemsProvider::ChildStates(row, column, set);
        atk_state_set_add_state(set, ATK_STATE_CHECKABLE);
        if (row < Count() && m_List->IsChecked(unsigned(row)))
            atk_state_set_add_state(set, ATK_STATE_CHECKED);
    }
    wxRect ChildRect(int row, int) const override {
        if (row >= Count()) return wxRect();
        wxRect r = m_List->GetRowGeometry(row).box.Union(m_List->GetRowGeometry(row).label);
        r.SetPosition(m_List->CalcScrolledPosition(r.GetPosition()));
        return r;
    }
    const char* ChildActionName(int, int, int) const override { return "toggle"; }
    bool ChildAction(int row, int, int) override {
        if (row >= Count()) return false;
        m_List->Check(unsigned(row), !m_List->IsChecked(unsigned(row)));
        m_List->Refresh();
        return true;
    }

protected:
    int Count() const override { return int(m_List->GetCount()); }
    int Selected() const override { return m_List->GetSelection(); }
    void Select(int index) override { m_List->SetSelection(index); }
    wxsCheckListBox* m_List;
};

// ---- choosing a provider ----

std::unique_ptr<_Provider> ProviderFor(wxWindow* w, GtkWidget* widget) {
    // Only the widget GTK focuses and draws: of a scrolled window, the one inside.
    GtkWidget* own = GTK_WIDGET(w->m_wxwindow ? w->m_wxwindow : w->m_widget);
    if (widget != own) return nullptr;
    if (dynamic_cast<wxsRadioButton*>(w))
        return std::make_unique<_ButtonProvider>(w, ATK_ROLE_RADIO_BUTTON);
    if (dynamic_cast<wxsCheckBox*>(w))
        return std::make_unique<_ButtonProvider>(w, ATK_ROLE_CHECK_BOX);
    if (dynamic_cast<wxsButton*>(w))
        return std::make_unique<_ButtonProvider>(w, ATK_ROLE_PUSH_BUTTON);
    if (dynamic_cast<wxsBitmapButton*>(w)) {
        auto* panel = dynamic_cast<wxExpandablePanel*>(w->GetParent());
        const bool fold = panel && panel->GetExpandButton() == w;
        return std::make_unique<_ButtonProvider>(w, fold ? ATK_ROLE_TOGGLE_BUTTON
                                                         : ATK_ROLE_PUSH_BUTTON);
    }
    if (dynamic_cast<wxsTextCtrl*>(w)) return std::make_unique<_NameProvider>(w);
    if (auto* choice = dynamic_cast<wxsChoice*>(w))
        return std::make_unique<_ChoiceProvider>(choice);
    if (dynamic_cast<wxsComboBox*>(w))
        return std::make_unique<_PlainProvider>(w, ATK_ROLE_COMBO_BOX);
    if (auto* list = dynamic_cast<wxsCheckListBox*>(w))
        return std::make_unique<_CheckListProvider>(list);
    if (auto* body = dynamic_cast<wxDBListBody*>(w)) return std::make_unique<_TableProvider>(body);
    if (auto* header = dynamic_cast<wxDBListHeader*>(w))
        return std::make_unique<_HeaderProvider>(header);
    if (dynamic_cast<wxDBListCtrl*>(w) || dynamic_cast<wxExpandablePanel*>(w))
        return std::make_unique<_PlainProvider>(w, ATK_ROLE_PANEL);
    if (auto* text = dynamic_cast<wxTextLineCtrl*>(w)) return std::make_unique<_TextProvider>(text);
    if (auto* chart = dynamic_cast<wxBarHistoryCtrl*>(w))
        return std::make_unique<_ChartProvider>(chart);
    if (auto* tabs = dynamic_cast<wxAuiTabCtrl*>(w)) return std::make_unique<_TabsProvider>(tabs);
    // Any other drawn window of the library's kind that a program named.
    if (!Plain(w->GetLabel()).empty() && w->m_wxwindow)
        return std::make_unique<_PlainProvider>(w, ATK_ROLE_PANEL);
    return nullptr;
}

} // namespace

void wxsAccessibleRegister(wxWindow* window) {
    if (!window) return;
    GtkWidget* widget = GTK_WIDGET(window->m_wxwindow ? window->m_wxwindow : window->m_widget);
    if (!widget) return;
    if (!s_WindowQuark) {
        s_WindowQuark = g_quark_from_static_string("wxs-accessible-window");
        s_ObjectQuark = g_quark_from_static_string("wxs-accessible-object");
    }
    if (!g_object_get_qdata(G_OBJECT(widget), s_WindowQuark))
        g_signal_connect(widget, "destroy", G_CALLBACK(+[](GtkWidget* w, gpointer) {
                             g_object_set_qdata(G_OBJECT(w), s_WindowQuark, nullptr);
                         }),
                         nullptr);
    g_object_set_qdata(G_OBJECT(widget), s_WindowQuark, window);
    HookClass(widget);
}
