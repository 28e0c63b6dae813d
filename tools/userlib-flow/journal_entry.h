// Reads an entry of the journal as "journalctl -o json" prints it: one object per line.
#ifndef TOOLS_USERLIB_FLOW_JOURNAL_ENTRY_H
#define TOOLS_USERLIB_FLOW_JOURNAL_ENTRY_H

#include <string>
#include <string_view>

namespace flow_tool {

// The fields used here; empty if the entry does not have them.
struct JournalEntry {
  std::string message;
  std::string ident;
  std::string pid;         // as the writer logged it
  std::string sender_pid;  // as the journal determined it
  std::string time;        // microseconds since 1970
  std::string facility;
  std::string priority;
};

// Returns false for a line that is not such an object, or is cut. The strings keep their memory for the next entry.
bool read_journal_entry(std::string_view line, JournalEntry& entry);

}  // namespace flow_tool

#endif
