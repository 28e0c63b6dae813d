/*
 * The layout of every public record. Daemons allocate them in their own storage, so a field that moves breaks each
 * daemon that was compiled before: then this file does not compile, and the version of the shared object has to change.
 *
 * The first number is for 32-bit targets, the last one for 64-bit ones. Where a timeval counts, a 32-bit C library with
 * 64-bit time has a number of its own in between; it goes for processors that align 64-bit numbers to 8 bytes, which
 * leaves i386 with such a C library unlisted.
 */
#include <stddef.h>

#include "userlib.h"

struct alignment {
  char byte;
  long long number;
};

#define IS_64_BIT         (sizeof(void*) == 8)
#define HAS_64_BIT_TIME   (sizeof(struct timeval) == 16)
#define IS_LISTED         (!HAS_64_BIT_TIME || offsetof(struct alignment, number) == 8)
#define HOLDS(a, b)       (!IS_LISTED || (a) == (b))
#define PICK(a, b, on_64) (IS_64_BIT ? (size_t)(on_64) : HAS_64_BIT_TIME ? (size_t)(b) : (size_t)(a))

/* An array of a negative size stops the compiler, with the record and the field in its message. */
#define TIMED_RECORD(type, a, b, on_64) typedef char size_of_##type[HOLDS(sizeof(type), PICK(a, b, on_64)) ? 1 : -1]
#define TIMED_FIELD(type, field, a, b, on_64) \
  typedef char offset_in_##type##_of_##field[HOLDS(offsetof(type, field), PICK(a, b, on_64)) ? 1 : -1]
#define RECORD(type, on_32, on_64)       TIMED_RECORD(type, on_32, on_32, on_64)
#define FIELD(type, field, on_32, on_64) TIMED_FIELD(type, field, on_32, on_32, on_64)

/* clang-format off: a table */
RECORD(Memory, 12, 24);
FIELD(Memory, m_pAddr, 0, 0);
FIELD(Memory, m_uSize, 4, 8);
FIELD(Memory, m_pFree, 8, 16);

RECORD(Frame, 20, 40);
FIELD(Frame, m_oMemory, 0, 0);
FIELD(Frame, m_pBegin, 12, 24);
FIELD(Frame, m_pEnd, 16, 32);

RECORD(IndexPool, 12, 16);
FIELD(IndexPool, m_pPool, 0, 0);
FIELD(IndexPool, m_uSize, 4, 8);
FIELD(IndexPool, m_uFree, 8, 12);

RECORD(IndexMapPair, 8, 8);
FIELD(IndexMapPair, m_iKey, 0, 0);
FIELD(IndexMapPair, m_uValue, 4, 4);

RECORD(IndexMapEntry, 12, 12);
FIELD(IndexMapEntry, m_bUsed, 0, 0);
FIELD(IndexMapEntry, m_oPair, 4, 4);

RECORD(IndexMap, 12, 16);
FIELD(IndexMap, m_rgMap, 0, 0);
FIELD(IndexMap, m_uMapSize, 4, 8);
FIELD(IndexMap, m_uCount, 8, 12);

TIMED_RECORD(NUV_TimeoutRecv, 32, 40, 48);
TIMED_FIELD(NUV_TimeoutRecv, m_oTime, 0, 0, 0);
TIMED_FIELD(NUV_TimeoutRecv, m_pArg1, 8, 16, 16);
TIMED_FIELD(NUV_TimeoutRecv, m_uArg2, 12, 20, 24);
TIMED_FIELD(NUV_TimeoutRecv, m_bTemp, 16, 24, 28);
TIMED_FIELD(NUV_TimeoutRecv, m_pRecvFunc, 20, 28, 32);
TIMED_FIELD(NUV_TimeoutRecv, m_uId, 24, 32, 40);
TIMED_FIELD(NUV_TimeoutRecv, m_bDeleted, 28, 36, 44);

TIMED_RECORD(TimeoutSet, 2580, 3224, 3864);
FIELD(TimeoutSet, m_rgRecv, 0, 0);
TIMED_FIELD(TimeoutSet, m_oIdPool, 2560, 3200, 3840);
TIMED_FIELD(TimeoutSet, m_uCount, 2572, 3212, 3856);
TIMED_FIELD(TimeoutSet, m_bProcessing, 2576, 3216, 3860);

RECORD(NUV_SelectRecv, 24, 40);
FIELD(NUV_SelectRecv, m_iFd, 0, 0);
FIELD(NUV_SelectRecv, m_pArg1, 4, 8);
FIELD(NUV_SelectRecv, m_uArg2, 8, 16);
FIELD(NUV_SelectRecv, m_bTemp, 12, 20);
FIELD(NUV_SelectRecv, m_bDeleted, 13, 21);
FIELD(NUV_SelectRecv, m_pRecvFunc, 16, 24);
FIELD(NUV_SelectRecv, m_pNext, 20, 32);

RECORD(SelectSet, 12, 16);
FIELD(SelectSet, m_pFirst, 0, 0);
FIELD(SelectSet, m_uCount, 4, 8);
FIELD(SelectSet, m_bProcessing, 8, 12);

TIMED_RECORD(Select, 2660, 3312, 3976);
FIELD(Select, m_oRead, 0, 0);
FIELD(Select, m_oWrite, 24, 32);
FIELD(Select, m_oExcept, 48, 64);
FIELD(Select, m_oTimeout, 72, 96);
TIMED_FIELD(Select, m_oLastTime, 2652, 3296, 3960);

RECORD(MessageHeader, 12, 12);
FIELD(MessageHeader, m_iMsgType, 0, 0);
FIELD(MessageHeader, m_iDestPort, 4, 4);
FIELD(MessageHeader, m_iSrcPort, 8, 8);

RECORD(MessageData, 16, 32);
FIELD(MessageData, m_iType, 0, 0);
FIELD(MessageData, m_oData, 4, 8);

RECORD(Message, 96, 176);
FIELD(Message, m_oHeader, 0, 0);
FIELD(Message, m_uSize, 12, 12);
FIELD(Message, m_rgData, 16, 16);

RECORD(Pipe, 12, 12);
FIELD(Pipe, m_bCreated, 0, 0);
FIELD(Pipe, m_iReadFd, 4, 4);
FIELD(Pipe, m_iWriteFd, 8, 8);

RECORD(UdpClient, 40, 40);
FIELD(UdpClient, m_iOutFd, 0, 0);
FIELD(UdpClient, m_iSocket, 4, 4);
FIELD(UdpClient, m_oServer, 8, 8);
FIELD(UdpClient, m_oLocal, 24, 24);

RECORD(UdpServer, 40, 40);
FIELD(UdpServer, m_iOutFd, 0, 0);
FIELD(UdpServer, m_iSocket, 4, 4);
FIELD(UdpServer, m_oLocal, 8, 8);
FIELD(UdpServer, m_oPeer, 24, 24);

RECORD(TableEntry, 20, 20);
FIELD(TableEntry, u16TableId, 0, 0);
FIELD(TableEntry, szModulName, 2, 2);
FIELD(TableEntry, u32TraceLevel, 16, 16);

RECORD(Level, 1004, 1004);
FIELD(Level, u16ActSize, 0, 0);
FIELD(Level, TableEntry, 4, 4);

RECORD(TraceLevelInit, 1008, 1008);
FIELD(TraceLevelInit, bChanged, 0, 0);
FIELD(TraceLevelInit, Level, 4, 4);

RECORD(NUV_SysloglevelModul, 16, 16);
FIELD(NUV_SysloglevelModul, u32TraceLevel, 0, 0);
FIELD(NUV_SysloglevelModul, szModulName, 4, 4);

RECORD(Daemon, 113, 113);
FIELD(Daemon, m_bDaemonized, 0, 0);
FIELD(Daemon, m_szProcessName, 1, 1);
FIELD(Daemon, m_szPidFileName, 17, 17);

RECORD(ConsoleCommand, 12, 24);
FIELD(ConsoleCommand, m_pName, 0, 0);
FIELD(ConsoleCommand, m_pContext, 4, 8);
FIELD(ConsoleCommand, m_pFunc, 8, 16);

RECORD(Console, 16, 24);
FIELD(Console, m_pStore, 0, 0);
FIELD(Console, m_uMaxSize, 4, 8);
FIELD(Console, m_uSize, 8, 12);
FIELD(Console, m_pPrompt, 12, 16);

RECORD(NUV_DigitMapPattern, 20, 40);
FIELD(NUV_DigitMapPattern, m_pSymbols, 0, 0);
FIELD(NUV_DigitMapPattern, m_uCount, 4, 8);
FIELD(NUV_DigitMapPattern, m_pText, 8, 16);
FIELD(NUV_DigitMapPattern, m_bTimer, 12, 24);
FIELD(NUV_DigitMapPattern, m_pNext, 16, 32);

RECORD(NUV_MDContext, 88, 88);
FIELD(NUV_MDContext, state, 0, 0);
FIELD(NUV_MDContext, count, 16, 16);
FIELD(NUV_MDContext, buffer, 24, 24);
