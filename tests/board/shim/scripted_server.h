/*
 * The other side of the protocol, as a test's script has it: answers what it is told, and remembers what it
 * was asked.
 */
#ifndef ORKA_TESTS_SCRIPTED_SERVER_H
#define ORKA_TESTS_SCRIPTED_SERVER_H

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <sys/types.h>
#include <thread>
#include <vector>

#include "protocol/protocol.h"
#include "wire/orka_nodes.h"

namespace orka::board::test {

constexpr uint32_t memory_size = 1 << 20;

struct Asked {
    protocol::operation operation;
    protocol::request request;
    std::vector<uint8_t> bytes; /* behind the request, as many as came */
    int connection;             /* a running number */
    pid_t process;              /* that connected */
};

enum class Deed { answer, hold, drop, stop };

/*
 * hold: no reply before a cancel, which gets this answer; drop: closes the connection; stop: the board is
 * gone.
 */
struct Answer {
    Deed deed = Deed::answer;
    uint32_t error = 0;
    int32_t result = 0;
    std::vector<uint8_t> bytes;
};

class ScriptedServer {
  public:
    using Script = std::function<Answer(const Asked &)>;

    /* By default every request succeeds, and a record that comes back has each byte's successor. */
    ScriptedServer();
    ~ScriptedServer();

    const std::string &path() const { return path_; }

    /* Comes before the default answer to an operation; before the program runs. */
    void on(protocol::operation operation, Script script);
    void make_files_readable();
    void make_memory_cached();
    /* The next board at the same path: other memory. */
    void replace_memory();

    std::vector<Asked> asked() const;
    std::vector<Asked> asked(protocol::operation operation) const;
    size_t files() const; /* open ones */

    /* False when it does not come true within ten seconds. */
    bool wait_until(const std::function<bool()> &condition);

  private:
    struct Connection;

    void run();
    Script *script_for(protocol::operation operation);
    void greet_newcomer();
    void serve(Connection &connection);
    void handle(Connection &connection, const Asked &asked);
    Answer answer_by_default(const Asked &asked, int &descriptor);
    Answer open_file(const Asked &asked, int &descriptor);
    void drop_closed_files();
    void close_all();

    std::string directory_;
    std::string path_;
    int listener_ = -1;
    int memory_ = -1;
    int wake_[2] = {-1, -1};
    std::vector<Connection> connections_;
    int connection_count_ = 0;

    struct OpenFile {
        int writing_end;
        wire::node node;
    };
    mutable std::mutex mutex_; /* over all that follows */
    bool readable_ = false;
    bool cached_ = false;
    std::map<protocol::operation, Script> scripts_;
    std::map<uint32_t, OpenFile> files_;
    std::vector<Asked> asked_;
    std::thread thread_;
};

} // namespace orka::board::test

#endif
