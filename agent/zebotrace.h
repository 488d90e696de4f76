// The agent's trace object: a thin owner of the process's trace facility
// that knows the agent's own tables. Trace flags are parsed against the
// agent's class and aggregate tables (AgentClassTable, AgentAggregateTable)
// and test flags against the agent's test-flag table, not the client
// runtime's, so that words such as ORCLEVEL2 or SYNCDBNORMAN are understood.
//
// One object per run, kept in trcClass by the program entry; "ending" it
// means terminate() and delete. Main thread only.
//
// zeboTraceBanner opens every trace with the versions in play and the whole
// option set, so that a trace sent in by an administrator explains itself.
#ifndef ZEBO_AGENT_ZEBOTRACE_H
#define ZEBO_AGENT_ZEBOTRACE_H

class ZeboTrace {
  public:
    // Creates the process's trace facility (client type 10, the command-line
    // utility tag). Tracing stays off until a file is opened.
    ZeboTrace();
    ~ZeboTrace() = default;
    ZeboTrace(const ZeboTrace&) = delete;
    ZeboTrace& operator=(const ZeboTrace&) = delete;

    // 0, or -1 for an unknown word (flags of earlier words stay set).
    int setTestFlags(const char* words);
    // Bounds the trace file to `megabytes` (0: no bound).
    void setMax(unsigned long megabytes);
    // Opens the trace file. 0, -1 for an invalid name, 426 when it cannot be
    // opened.
    int open(const char* name);
    // Switches classes on or off by the agent's words (ALL, ORCLEVEL1,
    // -MEM, ...). 0, or -1 for an unknown word, which is announced.
    int setFlags(const char* words);
    // Writes the end mark, closes the file and switches every class off.
    void terminate();
};

// The run's trace object, null before it is made and after it was ended.
extern ZeboTrace* trcClass;

// Ends the trace object if there is one: terminate, delete, null.
void zeboEndTrace();

struct AgentContext;

// Writes the banner and the option dump under the class PREFIX. The API's
// run-time version is queried even when nothing is written.
void zeboTraceBanner(AgentContext* context);

#endif
