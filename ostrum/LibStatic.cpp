#include <ostrum/LibStatic.h>

#include <algorithm>
#include <mutex>
#include <vector>

namespace {
struct _Registry {
    std::recursive_mutex mutex;
    std::vector<LibStatic*> objects;
    ~_Registry() { LibStatic::CleanupAll(); }
};
// Constructed on first use; destroyed when the library is unloaded, which runs the clean-up
// of whatever is still registered.
_Registry& Registry() {
    static _Registry r;
    return r;
}
} // namespace

LibStatic::LibStatic(const String& name) : m_Name(name) {
    _Registry& r = Registry();
    std::lock_guard<std::recursive_mutex> l(r.mutex);
    r.objects.push_back(this);
}

LibStatic::~LibStatic() {
    _Registry& r = Registry();
    std::lock_guard<std::recursive_mutex> l(r.mutex);
    r.objects.erase(std::remove(r.objects.begin(), r.objects.end(), this), r.objects.end());
}

void LibStatic::Cleanup(const String& name) {
    _Registry& r = Registry();
    for (;;) {
        LibStatic* victim = nullptr;
        {
            std::lock_guard<std::recursive_mutex> l(r.mutex);
            for (auto it = r.objects.rbegin(); it != r.objects.rend(); ++it)
                if (name.empty() || (*it)->m_Name == name) {
                    victim = *it;
                    r.objects.erase(std::next(it).base());
                    break;
                }
        }
        if (!victim) return;
        victim->OnLibCleanup(); // may delete itself; it is no longer registered
    }
}

void LibStatic::CleanupAll() {
    Cleanup(String());
}

size_t LibStatic::Count() {
    _Registry& r = Registry();
    std::lock_guard<std::recursive_mutex> l(r.mutex);
    return r.objects.size();
}
