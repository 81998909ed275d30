// Fuzzes the job module parser: any bytes are either a module or refused, never a crash; an
// accepted module's commands itemize for any job without failing.
#include <taviro/Job.h>
#include <taviro/JobFactory.h>

#include <ostrum/Log.h>
#include <ostrum/StringTokenizer.h>

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static bool quiet = [] {
        Log::s_GlobalLog->SetEchoLevel(-1);
        return true;
    }();
    (void)quiet;
    const String text((const char*)data, size);
    JobFactory factory;
    if (!factory.AddModule(text, "fuzz.tjm")) {
        if (factory.Count() != 0) abort(); // a refused module leaves nothing behind
        return 0;
    }
    if (factory.Count() != 1) abort();
    const JobTypeInfo& info = factory.GetTypeInfo(factory.ListTypes()[0], true);
    if (info.name.empty() || info.id.IsNull() || info.hideId.IsNull()) abort();
    Job job(UID(true));
    job.SetParameter(p_Frames, text.substr(0, 200));
    for (const CommandInfo& c : info.commands) {
        if (c.IsSeparator() != (c.flags < 0)) abort();
        StringTokenizer items(c.Itemize(job), ";", false, '"', '\\');
        (void)items.CountTokens();
    }
    return 0;
}
