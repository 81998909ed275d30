#include <wxTaviro/ProductChoice.h>

#include <wxTaviro/wxTaviroString.h>

#include <taviro/JobFactory.h>

#include <ostrum/Application.h>
#include <ostrum/CallTrace.h>

#include <wx/msgdlg.h>

#include <map>

const char* const ProductChoice::k_HideSection = "Hide Products";
bool ProductChoice::s_NoModulesShown = false;

ProductChoice::ProductChoice(wxWindow* parent, int id) : wxsChoice(parent, id) {
    CALL_ENTRY("ProductChoice::ProductChoice");
    const std::vector<UID> types = JobFactory::s_JobFactory.ListTypes();
    if (types.empty()) {
        if (!s_NoModulesShown) {
            // Set first: the box runs a modal loop, in which another such control may be built.
            s_NoModulesShown = true;
            wxMessageBox(_("No job modules are installed for this instance of the GUI.\n"
                           "Please make sure that a valid path to the job module directory was "
                           "given and that valid modules are installed there."),
                         wxMessageBoxCaptionStr, wxOK | wxCENTRE, nullptr);
        }
        Append(_("None Installed"));
        Disable();
        return;
    }
    Application* app = Application::the_Application;
    // One entry per name regardless of case: a later type of the same name replaces the earlier.
    std::map<String, UID, String::ciless> byName;
    for (const UID& type : types) {
        // A type unloaded since ListTypes comes back empty; it is not offered.
        const JobTypeInfo& info = JobFactory::s_JobFactory.GetTypeInfo(type, false);
        if (info.name.empty()) continue;
        if (app && app->GetOptions()->GetValue(k_HideSection, info.hideId.ToString(), false))
            continue;
        byName[info.name] = type;
    }
    for (const auto& entry : byName)
        Append(wxFromString(entry.first), new _ListUID(entry.second));
    if (!byName.empty()) SetSelection(0);
}

UID ProductChoice::GetProduct(int index) const {
    if (index < 0 || index >= (int)GetCount() || !HasClientObjectData()) return UID::Null;
    auto* entry = static_cast<_ListUID*>(GetClientObject((unsigned)index));
    return entry ? static_cast<const UID&>(*entry) : UID::Null;
}

void ProductChoice::SetSelectedProduct(const UID& id) {
    CALL_ENTRY("ProductChoice::SetSelectedProduct");
    const int n = (int)GetCount();
    if (n == 0) return;
    int i = n - 1;
    while (i > 0 && GetProduct(i) != id)
        --i;
    SetSelection(i);
    wxCommandEvent event(wxEVT_COMBOBOX, GetId());
    event.SetEventObject(this);
    event.SetInt(i);
    event.SetString(GetStringSelection());
    event.SetClientObject(GetClientObject((unsigned)i));
    GetEventHandler()->ProcessEvent(event);
}
