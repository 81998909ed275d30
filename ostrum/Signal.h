/// @file
/// Signals and slots.
///
/// Promises:
///  - once Disconnect (of a connection, an owner or all) returns, no slot of what it removed is
///    running on another thread or will run again; the same holds once a HasSlots owner has
///    disconnected all (its destructor does it);
///  - a slot may connect, disconnect, destroy its own owner or emit (the same or another signal)
///    from inside an emission on the same thread without deadlock;
///  - emitting allocates nothing.
///
/// How: each signal keeps its connections in a shared core guarded by its own recursive mutex,
/// held for the whole emission (ThreadPolicy::LocalThreaded), so a disconnect from another thread
/// waits for a running emission to finish. A disconnect from inside an emission marks the
/// connection dead; the emission skips dead entries and the list is compacted when the outermost
/// emission ends. Owners remember the cores of the signals they are connected to weakly, and
/// never hold their own lock while taking a signal's, so there is a single lock order
/// (signal, then owner) and a dying signal cannot deadlock with a dying owner.
///
/// A derived class whose slots use its own members, and whose signals may be emitted on other
/// threads, calls DisconnectAll() first thing in its destructor: the HasSlots destructor runs
/// after the derived members are gone.
#pragma once

#include <ostrum/Lock.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace ThreadPolicy {
/// Connection changes and emissions of one signal are serialised by that signal's own recursive
/// mutex.
struct LocalThreaded {};
} // namespace ThreadPolicy

class HasSlots;

/// The part of a signal that outlives it while an owner may still be looking at it.
class _SignalCoreBase {
public:
    virtual ~_SignalCoreBase() = default;
    /// Removes every connection whose owner is `owner`.
    virtual void DisconnectOwner(HasSlots* owner) = 0;
};

/// The owner of slots: it remembers the signals it is connected to and disconnects from all
/// of them when destroyed (or DisconnectAll), so that no slot runs on a dead object.
/// @ingroup ostrum
class HasSlots {
public:
    HasSlots() = default;
    /// A copy starts with no connections of its own.
    HasSlots(const HasSlots&) : HasSlots() {}
    HasSlots& operator=(const HasSlots&) { return *this; }
    virtual ~HasSlots() { DisconnectAll(); }

    /// Records a signal this object is connected to (signals call this when connecting).
    void ConnectSignal(const std::shared_ptr<_SignalCoreBase>& signal);
    /// Drops every connection of every signal to this object; afterwards none of its slots runs.
    void DisconnectAll();
    size_t ConnectedSignalCount();
    Mutex& GetSlotsLock() { return m_SlotsLock; }

private:
    Mutex m_SlotsLock;
    std::vector<std::weak_ptr<_SignalCoreBase>> m_Signals;
};

using SlotId = uint64_t;

template <class... Args>
class _Connection {
public:
    explicit _Connection(HasSlots* owner) : m_Owner(owner) {}
    virtual ~_Connection() = default;
    virtual void Call(Args... args) = 0;
    HasSlots* Owner() const { return m_Owner; }
    SlotId m_Id = 0;
    bool m_Alive = true; ///< guarded by the signal's mutex

private:
    HasSlots* m_Owner;
};

/// A method of a HasSlots object taking no argument.
template <class Obj, class Policy = ThreadPolicy::LocalThreaded>
class Connection0 : public _Connection<> {
public:
    Connection0(Obj* object, void (Obj::*method)())
        : _Connection<>(object), m_Object(object), m_Method(method) {}
    void Call() override { (m_Object->*m_Method)(); }

private:
    Obj* m_Object;
    void (Obj::*m_Method)();
};

/// A method of a HasSlots object taking one argument.
template <class Obj, class Arg, class Policy = ThreadPolicy::LocalThreaded>
class Connection1 : public _Connection<Arg> {
public:
    Connection1(Obj* object, void (Obj::*method)(Arg))
        : _Connection<Arg>(object), m_Object(object), m_Method(method) {}
    void Call(Arg arg) override { (m_Object->*m_Method)(std::forward<Arg>(arg)); }

private:
    Obj* m_Object;
    void (Obj::*m_Method)(Arg);
};

template <class... Args>
class _FunctionConnection : public _Connection<Args...> {
public:
    _FunctionConnection(std::function<void(Args...)> f, HasSlots* owner)
        : _Connection<Args...>(owner), m_Function(std::move(f)) {}
    void Call(Args... args) override { m_Function(std::forward<Args>(args)...); }

private:
    std::function<void(Args...)> m_Function;
};

template <class... Args>
class _SignalCore : public _SignalCoreBase {
public:
    using Conn = _Connection<Args...>;

    SlotId Add(std::shared_ptr<Conn> c) {
        Mutex::Guard g(m_Mutex);
        c->m_Id = ++m_NextId;
        m_Conns.push_back(std::move(c));
        return m_NextId;
    }

    bool Remove(SlotId id) {
        return RemoveIf([id](const Conn& c) { return c.m_Id == id; }) > 0;
    }
    void DisconnectOwner(HasSlots* owner) override {
        RemoveIf([owner](const Conn& c) { return c.Owner() == owner; });
    }
    void RemoveAll() {
        RemoveIf([](const Conn&) { return true; });
    }

    void Emit(Args... args) {
        Mutex::Guard g(m_Mutex);
        struct Depth {
            _SignalCore* s;
            explicit Depth(_SignalCore* core) : s(core) { ++s->m_EmitDepth; }
            ~Depth() {
                if (--s->m_EmitDepth == 0 && s->m_Dead) s->Compact();
            }
        } depth(this);
        /// Slots connected during this emission are not called by it.
        const size_t n = m_Conns.size();
        for (size_t i = 0; i < n; ++i) {
            Conn* c = m_Conns[i].get(); // the vector may grow under us; the object stays
            if (c->m_Alive) c->Call(args...);
        }
    }

    size_t Count() {
        Mutex::Guard g(m_Mutex);
        size_t live = 0;
        for (auto& c : m_Conns)
            live += c->m_Alive ? 1 : 0;
        return live;
    }

    Mutex& GetMutex() { return m_Mutex; }

private:
    template <class Pred>
    size_t RemoveIf(Pred pred) {
        Mutex::Guard g(m_Mutex); // waits for emissions on other threads to end
        size_t removed = 0;
        for (auto& c : m_Conns)
            if (c->m_Alive && pred(*c)) {
                c->m_Alive = false;
                ++removed;
            }
        if (removed) {
            m_Dead = true;
            if (m_EmitDepth == 0) Compact();
        }
        return removed;
    }
    void Compact() {
        m_Conns.erase(std::remove_if(m_Conns.begin(), m_Conns.end(),
                                     [](const std::shared_ptr<Conn>& c) { return !c->m_Alive; }),
                      m_Conns.end());
        m_Dead = false;
    }

    Mutex m_Mutex;
    std::vector<std::shared_ptr<Conn>> m_Conns;
    unsigned m_EmitDepth = 0;
    bool m_Dead = false;
    SlotId m_NextId = 0;
};

/// The signal proper: owns its core and tells no one when it dies; owners find its core expired.
template <class... Args>
class _Signal {
public:
    _Signal() : m_Core(std::make_shared<_SignalCore<Args...>>()) {}
    ~_Signal() { m_Core->RemoveAll(); }
    _Signal(const _Signal&) = delete;
    _Signal& operator=(const _Signal&) = delete;

    /// Connects a ready-made connection (Connection0 / Connection1), shared-owned by the signal.
    SlotId Connect(std::shared_ptr<_Connection<Args...>> connection) {
        HasSlots* owner = connection->Owner();
        Mutex::Guard g(m_Core->GetMutex());
        const SlotId id = m_Core->Add(std::move(connection));
        if (owner) owner->ConnectSignal(m_Core);
        return id;
    }
    /// A function slot; with an owner it is dropped with the owner's other connections.
    SlotId Connect(std::function<void(Args...)> f, HasSlots* owner = nullptr) {
        return Connect(std::make_shared<_FunctionConnection<Args...>>(std::move(f), owner));
    }

    bool Disconnect(SlotId id) { return m_Core->Remove(id); }
    void Disconnect(HasSlots* owner) { m_Core->DisconnectOwner(owner); }
    void DisconnectAll() { m_Core->RemoveAll(); }
    size_t ConnectionCount() const { return m_Core->Count(); }
    /// Held during every emission; hold it to make several changes atomic.
    Mutex& GetMutex() { return m_Core->GetMutex(); }

protected:
    std::shared_ptr<_SignalCore<Args...>> m_Core;
};

/// A signal without arguments: Connect slots (functions or an owner's methods), Emit calls
/// them all. Safe from any thread (see the file comment for the promises).
/// @ingroup ostrum
template <class Policy = ThreadPolicy::LocalThreaded>
class Signal0 : public _Signal<> {
public:
    using _Signal<>::Connect;
    template <class Obj>
    SlotId Connect(Obj* object, void (Obj::*method)()) {
        return Connect(std::make_shared<Connection0<Obj, Policy>>(object, method));
    }
    void Emit() { m_Core->Emit(); }
    void operator()() { Emit(); }
};

/// A signal with one argument, passed to every slot: as Signal0 otherwise.
/// @ingroup ostrum
template <class Arg, class Policy = ThreadPolicy::LocalThreaded>
class Signal1 : public _Signal<Arg> {
public:
    using _Signal<Arg>::Connect;
    template <class Obj>
    SlotId Connect(Obj* object, void (Obj::*method)(Arg)) {
        return Connect(std::make_shared<Connection1<Obj, Arg, Policy>>(object, method));
    }
    void Emit(Arg arg) { this->m_Core->Emit(std::forward<Arg>(arg)); }
    void operator()(Arg arg) { Emit(std::forward<Arg>(arg)); }
};
