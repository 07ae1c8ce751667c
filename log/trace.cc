#include "log/trace.h"

#include <fcntl.h>
#include <pthread.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <initializer_list>

#include "log/file_calls.h"
#include "log/stamp.h"
#include "log/trace_location.h"
#include "log/trace_record.h"
#include "util/time.h"

using namespace mar;

constinit int VDebugRun = 0;

namespace {

constexpr char TRACE_HEADER[] = "<Trace>";
constexpr char TRACE_TRAILER[] = "</Trace>";
constexpr char TIME_HEADER0[] = "<Time Millis=\"";
constexpr char TIME_HEADER1[] = "\">";
constexpr char TIME_TRAILER[] = "</Time>";
constexpr char SERVER_HEADER[] = "<Server Format=\"IP\">";
constexpr char SERVER_TRAILER[] = "</Server>";
constexpr char PRODID_HEADER[] = "<ProductId>";
constexpr char PRODID_TRAILER[] = "</ProductId>";
constexpr char COMPONENT_HEADER[] = "<Component>";
constexpr char COMPONENT_TRAILER[] = "</Component>";
constexpr char PRODINST_HEADER[] = "<ProductInstance>";
constexpr char PRODINST_TRAILER[] = "</ProductInstance>";
constexpr char LOGTEXT_HEADER[] = "<LogText><![CDATA[";
constexpr char LOGTEXT_TRAILER[] = "]]></LogText>";
constexpr char ORG[] = "<LogAttribs><Key>organization</Key><Value>QXO</Value></LogAttribs>";
constexpr char SOURCE_AND_METH[] = "<Source FileName=\"None\" Method=\"None\"/>";
constexpr char THREAD_HEADER[] = "<Thread>";
constexpr char THREAD_TRAILER[] = "</Thread>";
constexpr char PROCESS_HEADER[] = "<Process>";
constexpr char PROCESS_TRAILER[] = "</Process>";
constexpr char sep[] = " - ";

constexpr char VProductID[] = "KFD";
constexpr char VComponent[] = "ARM";
constexpr char VProductInstance[] = "5.3";

constinit std::atomic<int> VLogFormat = MAR_TRACE_XML;
constinit std::atomic<int> VTriedFileOnce = 0;
constinit int VInitialized = 0;

// Filled by doInit and fixed from then on. doInit runs once before the first record, so they need no lock.
char VLogFileSpec[4097];
char VHostName[256];
char VXMLPart1[32];
char VXMLPart2[4];
char VXMLPart3[512];
char VXMLPart4[256];
char VXMLPart5[32];
char VXMLPart6[32];

template <size_t N>
void concatenate(char (&out)[N], std::initializer_list<const char*> pieces) {
  char* end = out;
  for (const char* piece : pieces) end = stpncpy(end, piece, static_cast<size_t>(out + N - 1 - end));
  *end = '\0';
}

void initialize_once() {
  static pthread_once_t once = PTHREAD_ONCE_INIT;
  pthread_once(&once, [] {
    if (VInitialized == 0) doInit();
  });
}

void write_plain(int fd, const char* text, const char* time) {
  if (time != nullptr) {
    char ids[64];
    snprintf(ids, sizeof ids, " (%04lu:%04lu)", static_cast<unsigned long>(getPid()), getTid());
    writeString(fd, time);
    writeString(fd, ids);
    writeString(fd, sep);
  }
  writeString(fd, text);
}

void write_xml(int fd, const char* text, const char* time, double time_ms) {
  char number[32];
  writeString(fd, VXMLPart1);
  snprintf(number, sizeof number, "%13.0f", time_ms);
  writeString(fd, number);
  writeString(fd, VXMLPart2);
  writeString(fd, time);
  writeString(fd, VXMLPart3);
  writeString(fd, text);
  writeString(fd, VXMLPart4);
  snprintf(number, sizeof number, "%04lu", getTid());
  writeString(fd, number);
  writeString(fd, VXMLPart5);
  snprintf(number, sizeof number, "%04lu", static_cast<unsigned long>(getPid()));
  writeString(fd, number);
  writeString(fd, VXMLPart6);
}

int open_trace_file() {
  const int fd = open_path(VLogFileSpec, O_RDWR | O_CREAT | O_APPEND, 0600);
  if (fd == -1 && VTriedFileOnce.exchange(1) == 0) {
    const SigpipeHeldBack held_back;
    printf("Failed to open trace file [%s], make sure that subdirectory exists\n", VLogFileSpec);
    fflush(stdout);
  }
  return fd;
}

void wcDebugWorker(const char* text, int with_header) {
  if (text == nullptr) return;
  const CallerUndisturbed undisturbed;
  const int format = VLogFormat;
  char time[32];
  unsigned long seconds = 0;
  unsigned long millis = 0;
  if (with_header != 0) getLocalTime(format == MAR_TRACE_XML ? 0 : 1, time, &seconds, &millis);
  initialize_once();
  const int fd = open_trace_file();
  if (fd != -1) {
    if (format == MAR_TRACE_XML) {
      const double time_ms = static_cast<double>(seconds) * 1000 + static_cast<double>(millis);
      if (with_header != 0) write_xml(fd, text, time, time_ms);
    } else if (format != MAR_TRACE_OFF) {
      write_plain(fd, text, with_header != 0 ? time : nullptr);
    }
    close(fd);
  }
}

}  // namespace

void wcDebug(const char* text) {
  if (wcDebugEnabled() != 0) wcDebugWorker(text, 1);
}

void wcDebugln(const char* text) {
  if (wcDebugEnabled() == 0) return;
  wcDebug(text);
  wcDebugWorker("\n", 0);
}

int wcDebugEnabled(void) {
  if (VLogFormat <= MAR_TRACE_OFF) return VDebugRun;
  uint32_t seconds = 0;
  uint32_t nanoseconds = 0;
  ZarnBestGetCurrentTime(&seconds, &nanoseconds);
  return trace_enabled_at(static_cast<int>(seconds % 86400));
}

int mar::trace_enabled_at(int second_of_day) {
  const int format = VLogFormat;
  if (format <= MAR_TRACE_OFF) return VDebugRun;
  if (second_of_day <= format) return VDebugRun < 0 ? 1 : 0;
  if (VDebugRun > 0) {
    VLogFormat = static_cast<int>(std::min<int64_t>(format + int64_t{VDebugRun} * 60, INT_MAX));
    VDebugRun = -1;
    return 1;
  }
  VLogFormat = MAR_TRACE_OFF;
  VDebugRun = 0;
  return 0;
}

int wcDebugGetLogFormat(void) { return VLogFormat; }

void wcDebugSetLogFormat(int format) { VLogFormat = format; }

void wcDebugGetLogFileSpec(char* out, size_t size) {
  if (out == nullptr || size == 0) return;
  const CallerUndisturbed undisturbed;
  initialize_once();
  *stpncpy(out, VLogFileSpec, size - 1) = '\0';
}

void doInit(void) {
  getLogFileSpec(VLogFileSpec, sizeof VLogFileSpec);
  if (gethostname(VHostName, sizeof VHostName) != 0) VHostName[0] = '\0';
  VHostName[sizeof VHostName - 1] = '\0';
  concatenate(VXMLPart1, {TRACE_HEADER, "\n ", TIME_HEADER0});
  concatenate(VXMLPart2, {TIME_HEADER1});
  concatenate(VXMLPart3, {TIME_TRAILER, "\n ", SERVER_HEADER, VHostName, SERVER_TRAILER, "\n ", PRODID_HEADER,
                          VProductID, PRODID_TRAILER, "\n ", COMPONENT_HEADER, VComponent, COMPONENT_TRAILER,
                          "\n ", PRODINST_HEADER, VProductInstance, PRODINST_TRAILER, "\n ", LOGTEXT_HEADER});
  concatenate(VXMLPart4, {LOGTEXT_TRAILER, "\n ", ORG, "\n ", SOURCE_AND_METH, "\n ", THREAD_HEADER});
  concatenate(VXMLPart5, {THREAD_TRAILER, "\n ", PROCESS_HEADER});
  concatenate(VXMLPart6, {PROCESS_TRAILER, "\n", TRACE_TRAILER, "\n"});
  survive_file_size_limit();
  VInitialized = 1;
}

void writeString(int fd, const char* text) {
  while (write(fd, text, strlen(text)) == -1 && errno == EINTR) {
  }
}

void mar::trace_ln(const char* format, ...) {
  if (VDebugRun == 0) return;
  char text[1024];
  va_list args;
  va_start(args, format);
  vsnprintf(text, sizeof text, format, args);
  va_end(args);
  wcDebugln(text);
}
