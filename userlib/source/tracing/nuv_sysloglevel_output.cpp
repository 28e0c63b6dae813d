#include <algorithm>
#include <array>
#include <initializer_list>

#include "core/contract.h"
#include "core/text.h"
#include "nuv_sysloglevel.h"
#include "tracing/hex_lines.h"
#include "tracing/nuv_sysloglevel_internal.h"

using nuv::Decimal;
using nuv::g_trace_output;
using nuv::print_line;
using nuv::SyslogLine;
using nuv::text_or_empty;
using nuv::Timestamp;

namespace {

constexpr char kFamily[] = "nuv_sysloglevel";

// Where a line goes, as a sum.
enum Output : unsigned { kSyslog = 1, kConsole = 2 };

// Each output that is switched on looks at the mask, so that a handle that is none is reported for each.
unsigned outputs_of(int module, uint32_t type) {
  unsigned outputs = 0;
  if (g_trace_output.syslog != 0 && NUV_Sysloglevel_checkTracelevel(module, type)) {
    outputs |= kSyslog;
  }
  if (g_trace_output.console != 0 && NUV_Sysloglevel_checkTracelevel(module, type)) {
    outputs |= kConsole;
  }
  return outputs;
}

const char* file_name(const char* path) {
  return nuv::base_name(text_or_empty(path));
}

// Writes what a module has to say that is not registered, and reports it. The line goes to the system log even while that
// is switched off, and then brings a time stamp of its own.
[[gnu::cold, gnu::noinline]] void report_unregistered(int a_ModulHandle, const char* separator,
                                                      std::initializer_list<const char*> message) {
  std::array<const char*, 11> text;  // as many as message flow has
  text.fill("");
  std::copy(message.begin(), message.end(), text.begin());
  const bool is_stamped = g_trace_output.syslog == 0;
  {
    const Timestamp now;
    const SyslogLine line;
    syslog(LOG_USER | LOG_ERR, "%s%serror:sysloglevel%sModule not registered for message: %s%s%s%s%s%s%s%s%s%s%s",
           is_stamped ? now.text : "", is_stamped ? ":" : "", separator, text[0], text[1], text[2], text[3], text[4],
           text[5], text[6], text[7], text[8], text[9], text[10]);
  }
  NUV_REQUIRE((int)a_ModulHandle >= 0);
}

// For the types that print where in the source they come from.
void write_located(int module, uint32_t type, int priority, const char* path, uint32_t number, const char* text) {
  text = text_or_empty(text);
  if (module < 0) {
    const Decimal line(static_cast<int32_t>(number));
    report_unregistered(module, ": ", {file_name(path), ":", line.text, "   ", text});
  }
  const char* module_name = NUV_Sysloglevel_getModulName(module);
  const unsigned outputs = outputs_of(module, type);
  if ((outputs & kSyslog) != 0) {
    const SyslogLine line;
    syslog(priority, "%s:%s: %s:%d   %s", NUV_ESysloglevelType_name(type), module_name, file_name(path),
           static_cast<int>(number), text);
  }
  if ((outputs & kConsole) != 0) {
    const Timestamp now;
    const Decimal line(number);
    print_line({now.text, ":", NUV_ESysloglevelType_name(type), ":", module_name, ": ", file_name(path), ":", line.text,
                "   ", text, "\n"});
  }
}

// For the types that do not.
void write_short(int module, uint32_t type, int priority, const char* text) {
  text = text_or_empty(text);
  const char* module_name = NUV_Sysloglevel_getModulName(module);
  if (module < 0) {
    report_unregistered(module, "   ", {text});
  }
  const unsigned outputs = outputs_of(module, type);
  if ((outputs & kSyslog) != 0) {
    const SyslogLine line;
    syslog(priority, "%s:%s   %s", NUV_ESysloglevelType_name(type), module_name, text);
  }
  if ((outputs & kConsole) != 0) {
    const Timestamp now;
    print_line({now.text, ":", NUV_ESysloglevelType_name(type), ":", module_name, "   ", text, "\n"});
  }
}

void write_dump_line(int module, const char* title, const char* hex) {
  if (module < 0) {
    report_unregistered(module, ": ", {title, ": ", hex});
  }
  const unsigned outputs = outputs_of(module, NUV_SYSLOGLEVEL_DUMP);
  if ((outputs & kSyslog) != 0) {
    const SyslogLine line;
    syslog(LOG_USER | LOG_DEBUG, "dump:%s: %s: %s", NUV_Sysloglevel_getModulName(module), title, hex);
  }
  if ((outputs & kConsole) != 0) {
    const Timestamp now;
    print_line({now.text, ":dump:", NUV_Sysloglevel_getModulName(module), ": ", title, ": ", hex, "\n"});
  }
}

}  // namespace

void NUV_Sysloglevel_info(int a_ModulHandle, const char* /*a_file*/, uint32_t /*a_line*/, const char* a_text) {
  write_short(a_ModulHandle, NUV_SYSLOGLEVEL_INFO, LOG_USER | LOG_NOTICE, a_text);
}

void NUV_Sysloglevel_trace(int a_ModulHandle, const char* /*a_file*/, uint32_t /*a_line*/, const char* a_text) {
  write_short(a_ModulHandle, NUV_SYSLOGLEVEL_TRACE, LOG_USER | LOG_DEBUG, a_text);
}

void NUV_Sysloglevel_debug(int a_ModulHandle, const char* a_file, uint32_t a_line, const char* a_text) {
  write_located(a_ModulHandle, NUV_SYSLOGLEVEL_DEBUG, LOG_USER | LOG_DEBUG, a_file, a_line, a_text);
}

void NUV_Sysloglevel_warning(int a_ModulHandle, const char* /*a_file*/, uint32_t /*a_line*/, const char* a_text) {
  write_short(a_ModulHandle, NUV_SYSLOGLEVEL_WARNING, LOG_USER | LOG_WARNING, a_text);
}

void NUV_Sysloglevel_error(int a_ModulHandle, const char* a_file, uint32_t a_line, const char* a_text) {
  write_located(a_ModulHandle, NUV_SYSLOGLEVEL_ERROR, LOG_USER | LOG_ERR, a_file, a_line, a_text);
}

void NUV_Sysloglevel_tracect(int a_ModulHandle, const char* a_file, uint32_t a_line, const char* a_text) {
  write_located(a_ModulHandle, NUV_SYSLOGLEVEL_TRACECT, LOG_USER | LOG_DEBUG, a_file, a_line, a_text);
}

void NUV_Sysloglevel_tracedo(int a_ModulHandle, const char* a_file, uint32_t a_line, const char* a_text) {
  write_located(a_ModulHandle, NUV_SYSLOGLEVEL_TRACEDO, LOG_USER | LOG_DEBUG, a_file, a_line, a_text);
}

void NUV_Sysloglevel_guioutput(int a_ModulHandle, const char* /*a_file*/, uint32_t /*a_line*/, const char* a_text) {
  const char* text = text_or_empty(a_text);
  if (a_ModulHandle < 0) {
    report_unregistered(a_ModulHandle, ": ", {text});
  }
  const unsigned outputs = outputs_of(a_ModulHandle, NUV_SYSLOGLEVEL_GUIOUTPUT);
  if ((outputs & kSyslog) != 0) {
    const SyslogLine line;
    syslog(LOG_USER | LOG_ERR, "%s: %s", NUV_Sysloglevel_getModulName(a_ModulHandle), text);
  }
  if ((outputs & kConsole) != 0) {
    const Timestamp now;
    print_line({now.text, ":", NUV_Sysloglevel_getModulName(a_ModulHandle), ": ", text, "\n"});
  }
}

void NUV_Sysloglevel_tracemf(int a_ModulHandle, const char* a_fromName, uint32_t a_fromNumber, const char* a_message,
                             const char* a_toName, uint32_t a_toNumber, uint32_t a_direction) {
  const char* from = text_or_empty(a_fromName);
  const char* message = text_or_empty(a_message);
  const char* to = text_or_empty(a_toName);
  const char* direction = a_direction != 0 ? "RX" : "TX";
  if (a_ModulHandle < 0) {
    const Decimal from_number(static_cast<int32_t>(a_fromNumber));
    const Decimal to_number(static_cast<int32_t>(a_toNumber));
    report_unregistered(
        a_ModulHandle, ": ",
        {from, ":", from_number.text, " -->", message, "--> ", to, ":", to_number.text, "  ", direction});
    return;
  }
  const unsigned outputs = outputs_of(a_ModulHandle, NUV_SYSLOGLEVEL_TRACEMF);
  if ((outputs & kSyslog) != 0) {
    const SyslogLine line;
    syslog(LOG_USER | LOG_DEBUG, "tracemf: %s:%u -->%s--> %s:%u  %s", from, a_fromNumber, message, to, a_toNumber,
           direction);
  }
  if ((outputs & kConsole) != 0) {
    const Timestamp now;
    const Decimal from_number(a_fromNumber);
    const Decimal to_number(a_toNumber);
    print_line({now.text, ":tracemf: ", from, ":", from_number.text, " -->", message, "--> ", to, ":", to_number.text,
                "  ", direction, "\n"});
  }
}

void NUV_Sysloglevel_dump(int a_ModulHandle, const char* /*a_file*/, uint32_t /*a_line*/, const char* a_title,
                          const void* a_data, uint32_t a_length) {
  nuv::for_each_hex_line(a_data, a_length, [a_ModulHandle, a_title](const char* hex) {
    write_dump_line(a_ModulHandle, text_or_empty(a_title), hex);
  });
}
