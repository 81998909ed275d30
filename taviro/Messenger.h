// The link to the farm master. A messenger runs threads of its own; it emits the connected,
// disconnected and shutdown signals on them and hands arriving messages to the client
// application (TaviroClientApp::ReceiveMessage), also on them.
#pragma once

#include <ostrum/String.h>
#include <ostrum/UID.h>

class Messenger {
public:
    virtual ~Messenger() = default;
    virtual void Start() = 0;
    // Ends the link and joins the messenger's threads; no signal is emitted afterwards.
    virtual void Stop() = 0;
    virtual bool IsConnected() const = 0;
    virtual String GetMasterName() const = 0;
    // Asks the master to run a job command; false with the master's reason on refusal.
    virtual bool SendCommand(const UID& job, const String& command, const String& item,
                             String* error) = 0;
};
