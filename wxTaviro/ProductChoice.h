/// @file
/// A drop-down of the installed job types (products), sorted by name, for choosing the type of
/// a new job. Types hidden under "Hide Products" in the application's settings are left out.
/// With no job module installed it says so once per process and offers one disabled entry.
#pragma once

#include <wxTaviro/wxTaviroText.h>

#include <ostrum/UID.h>

#include <wx/clntdata.h>

/// @addtogroup farm
/// @{

/// A themed drop-down of the installed job types (see the file comment), filled when made.
class ProductChoice : public wxsChoice {
public:
    /// The job type of one entry.
    class _ListUID : public wxClientData, public UID {
    public:
        explicit _ListUID(const UID& id) : UID(id) {}
    };

    /// Lists the job factory's types, minus the hidden ones, and selects the first.
    ProductChoice(wxWindow* parent, int id);

    /// The type of entry `index`; UID::Null for an entry without one ("None Installed") or an
    /// index out of range.
    UID GetProduct(int index) const;
    /// Selects the entry of that type (entry 0 when it is not listed) and tells the listeners
    /// as if the user had chosen it.
    void SetSelectedProduct(const UID& id);

    /// The section of the application's settings whose true keys hide products.
    static const char* const k_HideSection;

private:
    static bool s_NoModulesShown;
};

/// @}
