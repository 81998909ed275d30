#include <taviro/Message.h>

Signal1<const boost::shared_ptr<ShutdownMsg>&> ShutdownMsg::s_Signal;
Signal1<MessageReceivedEvt&> MessageReceivedEvt::s_Signal;
Signal1<MessengerConnectedEvt&> MessengerConnectedEvt::s_Signal;
Signal1<MessengerDisconnectedEvt&> MessengerDisconnectedEvt::s_Signal;

const char* Message::TypeName(MessageType type) {
    switch (type) {
    case k_MsgJobCreated:
        return "JobCreated";
    case k_MsgJobChanged:
        return "JobChanged";
    case k_MsgJobRemoved:
        return "JobRemoved";
    case k_MsgJobBatch:
        return "JobBatch";
    case k_MsgLogLine:
        return "LogLine";
    case k_MsgEngineLoad:
        return "EngineLoad";
    case k_MsgShutdown:
        return "Shutdown";
    case k_MsgRequestFailed:
        return "RequestFailed";
    case k_MsgCustom:
        return "Custom";
    }
    return "?";
}
