/** @file
 * userlib: the foundation library of resident daemons. This header includes all the others.
 *
 * Conventions that hold everywhere; the headers say only what differs:
 *
 *  - Objects are plain records in the caller's own storage. <Family>_construct initialises one and returns 1,
 *    <Family>_destruct releases what it owns. Call no operation before the first or after the second.
 *  - Pointers must not be null unless a header says that they may. Null and other broken requirements are reported as
 *    contract failures (nuv_assert.h), which end the process unless a daemon installs another error handler.
 *    docs/contracts.md lists them all.
 *  - What fails while a daemon runs (memory, descriptors, peers, text from outside) is a result: 1 or another count
 *    for success, 0 for failure, unless a header gives other numbers.
 *  - Texts end in a zero byte, and stay the caller's. Pointers that are returned stay the library's.
 *  - Times are struct timeval or say their unit in the name. UDP ports and IP addresses are in network byte order
 *    wherever they are taken or given, htons(5060). The ports of a message are the daemon's own numbers.
 *  - There is no thread and no lock: one thread makes all calls, because all objects share the error handler, the
 *    allocator hook, the trace switches and modules, the switch of the plain logger, the buffer of VAStr(), the table
 *    of addresses and the variable TZ. Other threads write what they have for it into a pipe that its reactor watches
 *    as an external descriptor. Until the first thread is started everything may be called, and NUV_Daemon_daemonize()
 *    must have been.
 *  - What stands here is what every caller needs; reasons, traps and what happens when an error handler returns are on
 *    the page of each family, docs/families, and in the man pages.
 */
#ifndef USERLIB_H
#define USERLIB_H

#include "nuv_addressmanager.h"
#include "nuv_assert.h"
#include "nuv_bandwidth.h"
#include "nuv_cert_verify.h"
#include "nuv_console.h"
#include "nuv_convert.h"
#include "nuv_daemon.h"
#include "nuv_digitmap.h"
#include "nuv_execute.h"
#include "nuv_frame.h"
#include "nuv_indexmap.h"
#include "nuv_indexpool.h"
#include "nuv_level.h"
#include "nuv_md5.h"
#include "nuv_memory.h"
#include "nuv_message.h"
#include "nuv_messagedata.h"
#include "nuv_messageheader.h"
#include "nuv_pipe.h"
#include "nuv_select.h"
#include "nuv_selectset.h"
#include "nuv_syslog.h"
#include "nuv_sysloglevel.h"
#include "nuv_time.h"
#include "nuv_timeoutset.h"
#include "nuv_timer.h"
#include "nuv_tracelevelinit.h"
#include "nuv_udpclient.h"
#include "nuv_udpserver.h"
#include "nuv_utility.h"

#endif
