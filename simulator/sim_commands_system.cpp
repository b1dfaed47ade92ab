// Commands about the process: threads, locks, trace and files.

#include <cstdlib>
#include <memory>

#include <unistd.h>

#include "simulator/sim_commands.h"
#include "simulator/sim_commands_list.h"
#include "simulator/sim_console.h"
#include "simulator/sim_deadlock.h"
#include "simulator/sim_model.h"
#include "simulator/sim_snapshot.h"
#include "simulator/sim_text.h"
#include "util/i_os.h"
#include "util/i_trace.h"
#include "util/l_univ.h"

namespace {

/// A directory of its own for one command, gone with its file at the end.
class Workplace {
  public:
    Workplace() : directory_("/tmp/zor_sim_XXXXXX") {
        if (!mkdtemp(directory_.data())) directory_.clear();
    }
    ~Workplace() {
        if (!made()) return;
        if (FileExists(file().c_str())) RemoveOneFile(file().c_str());
        ::rmdir(directory_.c_str());
    }
    Workplace(const Workplace&) = delete;
    Workplace& operator=(const Workplace&) = delete;

    /// False if the directory couldn't be made; there is no file then.
    bool made() const { return !directory_.empty(); }
    const std::string& directory() const { return directory_; }
    std::string file() const { return directory_ + "/snapshot"; }

  private:
    std::string directory_;
};

std::string listing(const std::string& directory) {
    l_univ files("files");
    get_list_files(directory.c_str(), "", files);
    std::string text;
    for (files.start(); !files.off(); files.forth()) {
        const auto* const element = static_cast<const ElDescFile*>(files.item(t_desc_file));
        text += simText("listed: %s, %d bytes\n", element->file.name, element->file.size);
    }
    return text;
}

/// The first lines of the file, or that its check refuses it.
std::string readBack(const std::string& file) {
    std::int32_t size = 0;
    const std::unique_ptr<char[]> bytes(CreateBufFromFile(file.c_str(), 1, &size, 0, 1));
    if (!bytes) return "refused and removed: the checksum doesn't hold\n";
    const auto lines = simUnpack({bytes.get(), bytes.get() + size});
    if (!lines) return "read, but it is no snapshot\n";
    return simText("read back: %zu lines, the first %s\n", lines->size(), lines->front().c_str());
}

// The last byte, which is one of the stored checksum: of the body itself the check covers the first
// few bytes at most, and of some lengths none.
void damage(const std::string& file) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(std::fopen(file.c_str(), "r+b"),
                                                                 std::fclose);
    if (!stream) return;
    std::fseek(stream.get(), -1, SEEK_END);
    const int byte = std::fgetc(stream.get());
    std::fseek(stream.get(), -1, SEEK_END);
    std::fputc(byte ^ 1, stream.get());
}

}  // namespace

void simThreads(SimOrder& order) {
    CharString text;
    listThreads(text);
    client_write(order.client, &text);
}

void simLocks(SimOrder& order) {
    simSay(order, "zor_sim: two threads now take two locks in opposite order.\n");
    const std::string report = simDeadLock();
    if (report.empty()) return simSay(order, "zor_sim: another one is under way; try again.\n");
    simSay(order, report);
    simSay(order,
           "zor_sim: the thread that closed the ring has given its lock back; both are done.\n");
}

void simTrace(SimOrder& order) {
    const std::string wish = simReadWord(order);
    if (wish != "on" && wish != "off") return simSay(order, "zor_sim: trace on, or trace off.\n");
    order.console.setTracing(wish == "on");
    tracePrintf("console %d: trace %s", order.client.minor, wish.c_str());
    simSay(order, "zor_sim: trace " + wish + ".\n");
}

void simFiles(SimOrder& order) {
    const Workplace place;
    const std::vector<char> bytes = simPack(*order.model);
    const auto size = static_cast<std::int32_t>(bytes.size());
    if (!place.made() || !WriteBufToFile(place.file().c_str(), 1, bytes.data(), size, 0, 1))
        return simSay(order, "zor_sim: the snapshot can't be written.\n");
    simSay(order, simText("written: a snapshot of KEL %d, %d bytes and its trailer\n",
                          order.model->kel(), size));
    simSay(order, listing(place.directory()) + readBack(place.file()));
    damage(place.file());
    simSay(order, "one byte is changed: " + readBack(place.file()));
}
