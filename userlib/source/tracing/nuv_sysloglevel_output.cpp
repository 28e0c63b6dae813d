#include <stdio.h>

#include "core/contract.h"
#include "core/text.h"
#include "nuv_sysloglevel.h"
#include "tracing/hex_lines.h"
#include "tracing/nuv_sysloglevel_internal.h"

using userlib::Decimal;
using userlib::g_trace_output;
using userlib::print_line;
using userlib::SyslogLine;
using userlib::text_or_empty;
using userlib::Timestamp;

namespace {

constexpr char kFamily[] = "nuv_sysloglevel";

// Where a line is written, and what came with it. Texts are never null here.
struct Place {
  const char* file;  // base name
  uint32_t line;
};

Place place(const char* path, uint32_t line) {
  return {userlib::base_name(text_or_empty(path)), line};
}

bool goes_to_syslog(int module, uint32_t type) {
  return g_trace_output.syslog != 0 && NUV_Sysloglevel_checkTracelevel(module, type);
}

bool goes_to_console(int module, uint32_t type) {
  return g_trace_output.console != 0 && NUV_Sysloglevel_checkTracelevel(module, type);
}

// The line about a module that is not registered goes to the system log even while that is switched off. Then it brings
// a time stamp of its own.
class UnregisteredLine {
 public:
  static constexpr int kPriority = LOG_USER | LOG_ERR;

  const char* time() const { return g_trace_output.syslog != 0 ? "" : now_.text; }
  const char* colon() const { return g_trace_output.syslog != 0 ? "" : ":"; }

 private:
  Timestamp now_;
  SyslogLine line_;
};

void require_registered(int a_ModulHandle) {
  NUV_REQUIRE((int)a_ModulHandle >= 0);
}

// For the types that print where in the source they come from.
void write_located(int module, uint32_t type, int priority, Place where, const char* text) {
  if (module < 0) {
    {
      const UnregisteredLine line;
      syslog(line.kPriority, "%s%s%s:%s: Module not registered for message: %s:%d   %s", line.time(), line.colon(),
             "error", "sysloglevel", where.file, static_cast<int>(where.line), text);
    }
    require_registered(module);
  }
  const char* type_name = NUV_ESysloglevelType_name(type);
  const char* module_name = NUV_Sysloglevel_getModulName(module);
  if (goes_to_syslog(module, type)) {
    const SyslogLine line;
    syslog(priority, "%s:%s: %s:%d   %s", type_name, module_name, where.file, static_cast<int>(where.line), text);
  }
  if (goes_to_console(module, type)) {
    const Timestamp now;
    const Decimal line(where.line);
    print_line({now.text, ":", type_name, ":", module_name, ": ", where.file, ":", line.text, "   ", text, "\n"});
  }
}

// For the types that do not.
void write_short(int module, uint32_t type, int priority, const char* text) {
  const char* type_name = NUV_ESysloglevelType_name(type);
  const char* module_name = NUV_Sysloglevel_getModulName(module);
  if (module < 0) {
    {
      const UnregisteredLine line;
      syslog(line.kPriority, "%s%s%s:%s   Module not registered for message: %s", line.time(), line.colon(), "error",
             "sysloglevel", text);
    }
    require_registered(module);
  }
  if (goes_to_syslog(module, type)) {
    const SyslogLine line;
    syslog(priority, "%s:%s   %s", type_name, module_name, text);
  }
  if (goes_to_console(module, type)) {
    const Timestamp now;
    print_line({now.text, ":", type_name, ":", module_name, "   ", text, "\n"});
  }
}

void write_dump_line(int module, const char* title, const char* hex) {
  if (module < 0) {
    {
      const UnregisteredLine line;
      syslog(line.kPriority, "%s%s%s:%s: Module not registered for message: %s: %s", line.time(), line.colon(), "error",
             "sysloglevel", title, hex);
    }
    require_registered(module);
  }
  const char* type_name = NUV_ESysloglevelType_name(NUV_SYSLOGLEVEL_DUMP);
  if (goes_to_syslog(module, NUV_SYSLOGLEVEL_DUMP)) {
    const SyslogLine line;
    syslog(LOG_USER | LOG_DEBUG, "%s:%s: %s: %s", type_name, NUV_Sysloglevel_getModulName(module), title, hex);
  }
  if (goes_to_console(module, NUV_SYSLOGLEVEL_DUMP)) {
    const Timestamp now;
    print_line({now.text, ":", type_name, ":", NUV_Sysloglevel_getModulName(module), ": ", title, ": ", hex, "\n"});
  }
}

}  // namespace

void NUV_Sysloglevel_info(int a_ModulHandle, const char* /*a_file*/, uint32_t /*a_line*/, const char* a_text) {
  write_short(a_ModulHandle, NUV_SYSLOGLEVEL_INFO, LOG_USER | LOG_NOTICE, text_or_empty(a_text));
}

void NUV_Sysloglevel_trace(int a_ModulHandle, const char* /*a_file*/, uint32_t /*a_line*/, const char* a_text) {
  write_short(a_ModulHandle, NUV_SYSLOGLEVEL_TRACE, LOG_USER | LOG_DEBUG, text_or_empty(a_text));
}

void NUV_Sysloglevel_debug(int a_ModulHandle, const char* a_file, uint32_t a_line, const char* a_text) {
  write_located(a_ModulHandle, NUV_SYSLOGLEVEL_DEBUG, LOG_USER | LOG_DEBUG, place(a_file, a_line),
                text_or_empty(a_text));
}

void NUV_Sysloglevel_warning(int a_ModulHandle, const char* /*a_file*/, uint32_t /*a_line*/, const char* a_text) {
  write_short(a_ModulHandle, NUV_SYSLOGLEVEL_WARNING, LOG_USER | LOG_WARNING, text_or_empty(a_text));
}

void NUV_Sysloglevel_error(int a_ModulHandle, const char* a_file, uint32_t a_line, const char* a_text) {
  write_located(a_ModulHandle, NUV_SYSLOGLEVEL_ERROR, LOG_USER | LOG_ERR, place(a_file, a_line), text_or_empty(a_text));
}

void NUV_Sysloglevel_tracect(int a_ModulHandle, const char* a_file, uint32_t a_line, const char* a_text) {
  write_located(a_ModulHandle, NUV_SYSLOGLEVEL_TRACECT, LOG_USER | LOG_DEBUG, place(a_file, a_line),
                text_or_empty(a_text));
}

void NUV_Sysloglevel_tracedo(int a_ModulHandle, const char* a_file, uint32_t a_line, const char* a_text) {
  write_located(a_ModulHandle, NUV_SYSLOGLEVEL_TRACEDO, LOG_USER | LOG_DEBUG, place(a_file, a_line),
                text_or_empty(a_text));
}

void NUV_Sysloglevel_guioutput(int a_ModulHandle, const char* /*a_file*/, uint32_t /*a_line*/, const char* a_text) {
  const char* text = text_or_empty(a_text);
  if (a_ModulHandle < 0) {
    {
      const UnregisteredLine line;
      syslog(line.kPriority, "%s%s%s:%s: Module not registered for message: %s", line.time(), line.colon(), "error",
             "sysloglevel", text);
    }
    require_registered(a_ModulHandle);
  }
  if (goes_to_syslog(a_ModulHandle, NUV_SYSLOGLEVEL_GUIOUTPUT)) {
    const SyslogLine line;
    syslog(LOG_USER | LOG_ERR, "%s: %s", NUV_Sysloglevel_getModulName(a_ModulHandle), text);
  }
  if (goes_to_console(a_ModulHandle, NUV_SYSLOGLEVEL_GUIOUTPUT)) {
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
    {
      const UnregisteredLine line;
      syslog(line.kPriority, "%s%s%s:%s: Module not registered for message: %s:%d -->%s--> %s:%d  %s", line.time(),
             line.colon(), "error", "sysloglevel", from, static_cast<int>(a_fromNumber), message, to,
             static_cast<int>(a_toNumber), direction);
    }
    require_registered(a_ModulHandle);
    return;
  }
  const char* type_name = NUV_ESysloglevelType_name(NUV_SYSLOGLEVEL_TRACEMF);
  if (goes_to_syslog(a_ModulHandle, NUV_SYSLOGLEVEL_TRACEMF)) {
    const SyslogLine line;
    syslog(LOG_USER | LOG_DEBUG, "%s: %s:%u -->%s--> %s:%u  %s", type_name, from, a_fromNumber, message, to, a_toNumber,
           direction);
  }
  if (goes_to_console(a_ModulHandle, NUV_SYSLOGLEVEL_TRACEMF)) {
    const Timestamp now;
    const Decimal from_number(a_fromNumber);
    const Decimal to_number(a_toNumber);
    print_line({now.text, ":", type_name, ": ", from, ":", from_number.text, " -->", message, "--> ", to, ":",
                to_number.text, "  ", direction, "\n"});
  }
}

void NUV_Sysloglevel_dump(int a_ModulHandle, const char* /*a_file*/, uint32_t /*a_line*/, const char* a_title,
                          const void* a_data, uint32_t a_length) {
  userlib::for_each_hex_line(a_data, a_length, [a_ModulHandle, a_title](const char* hex) {
    write_dump_line(a_ModulHandle, text_or_empty(a_title), hex);
  });
}
