// What phonectl is told to do: by its command line one command, by a script one a line.
//
//     offhook LINE | onhook LINE | digit LINE DIGIT | dial LINE DIGITS
//                      sends this event and waits for an answer
//     raw TEXT         sends the text, blanks inside it included, and waits for an answer
//     expect TEXT      takes the next answer, waits for it if need be, and fails if it is another one
//     wait MS          goes on after so many milliseconds
//     # anything       says something to the reader
//
// "expect" takes the answers in the order in which they came since the last command that sent something. Those that
// nobody expects are shown, and forgotten when the next command sends.
#ifndef EXAMPLES_PHONECTL_SCRIPT_H
#define EXAMPLES_PHONECTL_SCRIPT_H

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace phonectl {

struct Step {
  enum class Kind { kSend, kExpect, kWait };

  Kind kind = Kind::kSend;
  std::string text = {};             // of kSend: the datagram; of kExpect: the answer
  std::chrono::milliseconds wait{};  // of kWait
  size_t line = 0;                   // where it stands in the script, from 1
};

// Reads one command.
Step parse_step(std::string_view text);

// Reads a script. The Error names the line.
std::vector<Step> parse_script(std::string_view text);

}  // namespace phonectl

#endif
