/// @file
/// The simulated farm's model: jobs of the installed types moving through their states, and the
/// traffic that tells of it. The traffic is a pure function of the seed, so runs are repeatable.
/// The embedded master and the network one (taviro-master) both run a FarmSchedule; it knows
/// nothing of clients, it only makes messages.
#pragma once

#include <taviro/Message.h>

#include <random>
#include <vector>

/// The simulated farm's model: makes the messages of a farm of jobs moving through their
/// states, as a pure function of its seed.
/// @ingroup taviro
class FarmSchedule {
public:
    FarmSchedule(uint64_t seed, int jobCount, const std::vector<UID>& types);

    /// The whole farm as k_MsgJobBatch messages of at most batchSize jobs.
    std::vector<boost::shared_ptr<Message>> Snapshot(size_t batchSize = 1000) const;
    /// The same, one batch at a time: a copy of the farm's model, and the batch of that copy
    /// that starts at job first. Lets a million jobs go out without all their messages
    /// existing at once.
    class Frozen;
    Frozen Freeze() const;
    boost::shared_ptr<Message> Batch(const Frozen& farm, size_t first, size_t batchSize) const;
    /// The next event of the farm.
    boost::shared_ptr<Message> Next();
    /// A client's command on a job: changes the model and gives the resulting messages.
    bool ApplyCommand(const UID& job, const String& command, const String& item, String* error,
                      std::vector<boost::shared_ptr<Message>>& out);
    /// A job a client submits: waiting, of the given type. False, with the reason, for a type
    /// this farm does not run.
    bool Submit(const UID& type, String* error, std::vector<boost::shared_ptr<Message>>& out);
    size_t JobCount() const { return m_Jobs.size(); }
    uint64_t Produced() const { return m_Sequence; }

    /// The n-th line of the master's own log (a pure function of the seed and n).
    static String MasterLogText(uint64_t seed, uint64_t n);

private:
    // A job of the model, small: the farm may hold millions. Texts are numbers into tables.
    struct _Job {
        UID id;
        uint32_t number;  // the job's running number, part of its name
        uint16_t type;    // index into m_Types (k_NoType when none are installed)
        uint16_t frames;  // 10 to 499
        int8_t status;    // JobStatus
        int8_t progress;  // percent
        uint8_t owner;    // index into the owners
        uint8_t priority; // index into m_Priorities
    };
    enum : uint16_t { k_NoType = 0xffff };
    _Job NewJob();
    String Name(const _Job& j) const;
    boost::shared_ptr<Message> Created(const _Job& j) const;
    boost::shared_ptr<Message> Changed(const _Job& j, bool progressOnly);
    UID RandomUID();
    boost::shared_ptr<Message> Stamp(boost::shared_ptr<Message> m);

    std::mt19937_64 m_Rng;
    std::vector<UID> m_Types;
    std::vector<String> m_TypeNames;  // by type index
    std::vector<String> m_Priorities; // the usual three, then any other a command sets
    std::vector<_Job> m_Jobs;
    uint64_t m_Sequence = 0;
    int m_NextNumber = 1;
};

/// A copy of the farm's jobs at one moment, for a snapshot sent in parts.
class FarmSchedule::Frozen {
    friend class FarmSchedule;
    std::vector<_Job> m_Jobs;

public:
    size_t JobCount() const { return m_Jobs.size(); }
};
