#include "Console.h"

#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <sys/sysinfo.h>
#include <unistd.h>

int g_nNode = 0;
int g_nSize = 1;
MPI_Comm MPI_COMM_MT = MPI_COMM_WORLD;
char g_szLogFileName[256] = "Kelvo.log";
int g_IsTerminal = -1;

static time_t strt = time(nullptr);
static int prev_total = -1;
static const char* s_lastTitle = nullptr;
static const char MARKER[] = "$%<>%$";
static const int LINE_WIDTH = 71;

// Colours only on a terminal of our own. Under an MPI launcher the standard
// output of a process may be a pseudo-terminal of the launcher whatever the
// launcher's own output is (a file, a pipe), so a launched process never
// colours; nor does one asked not to by NO_COLOR.
static bool IsTerminal() {
  if (g_IsTerminal < 0) {
    const bool bLaunched = getenv("OMPI_COMM_WORLD_SIZE") || getenv("PMIX_RANK") || getenv("PMI_RANK");
    g_IsTerminal = isatty(fileno(stdout)) && !bLaunched && !getenv("NO_COLOR") ? 1 : 0;
  }
  return g_IsTerminal == 1;
}

// The common route: console of rank 0 (prefixed on a cluster), then the log.
static void Emit(const char* s) {
  if (strncmp(s, MARKER, 6) == 0)
    s += 6;
  if (g_nSize < 2) {
    fputs(s, stdout);
    fflush(stdout);
  } else if (g_nNode == 0) {
    printf("{%d}: %s", g_nNode, s);
    fflush(stdout);
  }
  snprintf(g_szLogFileName, sizeof(g_szLogFileName), "Kelvo-%d.log", g_nNode);
  FILE* f = fopen(g_szLogFileName, "a");
  if (!f)
    return;
  fputs(s, f);
  fclose(f);
}

void textcolor(int attr, int fg, int bg) {
  if (g_nNode != 0 || !IsTerminal())
    return;
  int a = (attr & 32) ? 1 : 0;
  if (attr & 64)
    a |= 4;
  if (attr & 128)
    a = 7;
  auto colour = [](int v) { return (v & 7) + ((v & 16) ? 60 : 0); };
  if (attr == 0 && fg < 0 && bg < 0)
    printf("\x1b[0m");
  else if (fg < 0 && bg < 0)
    printf("\x1b[%dm", a);
  else if (fg < 0)
    printf("\x1b[%d;%dm", a, 40 + colour(bg));
  else if (bg < 0)
    printf("\x1b[%d;%dm", a, 30 + colour(fg));
  else
    printf("\x1b[%d;%d;%dm", a, 30 + colour(fg), 40 + colour(bg));
}

#define FORMAT_INTO(buf, fmt)                                                                                          \
  char buf[4096];                                                                                                      \
  va_list args;                                                                                                        \
  va_start(args, fmt);                                                                                                 \
  int n = vsnprintf(buf, sizeof(buf), fmt, args);                                                                      \
  va_end(args)

int u_Print(const char* fmt, ...) {
  FORMAT_INTO(buf, fmt);
  Emit(buf);
  return n;
}

static int EmitColoured(int attr, int fg, int bg, const char* s) {
  textcolor(attr, fg, bg);
  Emit(s);
  textcolor(0, -1, -1);
  return 0;
}

int u_Warning(const char* fmt, ...) {
  FORMAT_INTO(buf, fmt);
  EmitColoured(0, 19, -1, buf);
  return n;
}

int u_Error(const char* fmt, ...) {
  FORMAT_INTO(buf, fmt);
  EmitColoured(32, 1, -1, buf);
  return n;
}

int u_Success(const char* fmt, ...) {
  FORMAT_INTO(buf, fmt);
  EmitColoured(64, 2, -1, buf);
  return n;
}

int u_CenterPrint(const char* fmt, ...) {
  FORMAT_INTO(buf, fmt);
  const char* s = strncmp(buf, MARKER, 6) == 0 ? buf + 6 : buf;
  int len = (int)strlen(s);
  if (len < LINE_WIDTH - 2) {
    char out[4200];
    int pad = (LINE_WIDTH - len) / 2;
    memset(out, ' ', pad);
    memcpy(out + pad, s, len + 1);
    Emit(out);
  } else {
    Emit(s);
  }
  return n;
}

int u_LinePrint(const char* fmt, ...) {
  FORMAT_INTO(buf, fmt);
  const char* s = strncmp(buf, MARKER, 6) == 0 ? buf + 6 : buf;
  int len = (int)strlen(s);
  if (len < LINE_WIDTH - 2) {
    char out[LINE_WIDTH + 3];
    out[0] = '\n';
    memset(out + 1, '-', LINE_WIDTH);
    out[LINE_WIDTH + 1] = '\n';
    out[LINE_WIDTH + 2] = 0;
    memcpy(out + 1 + (LINE_WIDTH - len) / 2, s, len);
    Emit(out);
  } else {
    Emit(s);
  }
  return n;
}

void u_Line() {
  char out[LINE_WIDTH + 2];
  memset(out, '-', LINE_WIDTH);
  out[LINE_WIDTH] = '\n';
  out[LINE_WIDTH + 1] = 0;
  Emit(out);
}

void u_FaceTitle(const char* title) {
  if (title == s_lastTitle || !title || !*title)
    return;
  strt = time(nullptr);
  prev_total = -1;
  u_Print("\n\n");
  u_Line();
  textcolor(32, -1, -1);
  u_Print("%s started at %s", title, ctime(&strt));
  textcolor(0, -1, -1);
  u_Line();
  s_lastTitle = title;
}

static void AppendElapsed(char* out, size_t cap, time_t now) {
  int el = (int)(difftime(now, strt) + 0.5);
  size_t len = strlen(out);
  snprintf(out + len, cap - len, "%3d:%02d:%02d elapsed. \n", el / 3600, (el / 60) % 60, el % 60);
}

void u_Percent(int pct, int overall, int n, int total) {
  if (pct < 1)
    return;
  if (g_nNode > 0 && pct % 10 != 0)
    return;
  if (pct == prev_total)
    return;
  char out[512];
  if (pct > 100)
    snprintf(out, sizeof(out), ".. The end. ");
  else
    snprintf(out, sizeof(out), ".. %d%% ", pct);
  if (overall >= 0 && overall <= 100)
    snprintf(out + strlen(out), sizeof(out) - strlen(out), "(Overall: %d%%) ", overall);
  if (total > 0)
    snprintf(out + strlen(out), sizeof(out) - strlen(out), "- %d of %d. ", n, total);
  AppendElapsed(out, sizeof(out), time(nullptr));
  Emit(out);
  prev_total = pct;
}

void u_Percent_master(int total, int done, int shot, int node) {
  int pct = total != 0 ? 100 * done / total : 0;
  time_t now = time(nullptr);
  char out[512];
  out[0] = 0;
  if (pct >= 0) {
    if (pct > 100)
      snprintf(out, sizeof(out), ".. The end. ");
    else
      snprintf(out, sizeof(out), ".. %d%% ", pct);
  }
  if (shot > 0 && node > 0)
    snprintf(out + strlen(out), sizeof(out) - strlen(out), "(shot #%d on node #%d) ", shot, node);
  snprintf(out + strlen(out), sizeof(out) - strlen(out), "- %d of %d. ", done, total);
  AppendElapsed(out, sizeof(out), now);
  if (done < 0)
    strt = now;
  Emit(out);
}

static void PrintLines(const char* heading, FILE* f, int maxLines) {
  if (!f)
    return;
  u_Print("%s", heading);
  char line[256];
  for (int i = 0; (maxLines < 0 || i < maxLines) && fgets(line, 255, f); i++)
    u_Print("%s", line);
}

void PrintSystemDetails() {
  u_Print("------------------------ Node System Information ----------------------\n");
  char host[80];
  if (gethostname(host, 79) == 0) {
    host[79] = 0;
    u_Print("Process %d of %d (Rank=#%d, Hostname \"%s\"), CPUs=%d\n", g_nNode + 1, g_nSize, g_nNode, host,
            get_nprocs());
  }
  struct sysinfo si;
  if (sysinfo(&si) == 0) {
    double u = (double)si.mem_unit / 1048576.0;
    u_Print("System Info: \n    Available Memory: %g of %g MB (total=%g, buffers=%g, free=%g)\n    Swap Used:  "
            "%g of %g MB\n",
            (si.freeram + si.bufferram) * u, si.totalram * u, si.totalram * u, si.bufferram * u, si.freeram * u,
            (si.totalswap - si.freeswap) * u, si.totalswap * u);
    u_Print("    Uptime = %lds\n    Load: 1 min %g / 5 min %g / 15 min %g\n", si.uptime, si.loads[0] / 65535.0,
            si.loads[1] / 65535.0, si.loads[2] / 65535.0);
  }
  FILE* f = fopen("/proc/meminfo", "r");
  PrintLines("\nInfo from /proc/meminfo\n", f, 5);
  if (f)
    fclose(f);
  f = fopen("/proc/loadavg", "r");
  PrintLines("\nInfo from /proc/loadavg\n", f, -1);
  if (f)
    fclose(f);
  f = popen("/bin/df -H -T", "r");
  PrintLines("\nInfo from 'df -H -T':\n", f, -1);
  if (f)
    pclose(f);
  f = popen("/usr/bin/free -m", "r");
  PrintLines("\nInfo from 'free -m':\n", f, -1);
  if (f)
    pclose(f);
  u_Print("-----------------------------------------------------------------------\n");
}

static int nError = 0;

static void sig_handler(int sig) { sig_ftest(sig, 0); }

void sig_ftest(int sig, int code) {
  signal(sig, SIG_IGN);
  u_Print("Signal %d(%d)!\n", sig, code);
  const char* msg = nullptr;
  switch (sig) {
  case 1: msg = "The terminal was disconnected."; break;
  case 2: msg = "Error: Interrupt!"; break;
  case 4: msg = "Error: Illegal instruction - invalid function image."; break;
  case 5: msg = "User breakpoint encounter."; break;
  case 6: msg = "Error: Abnormal termination triggered by abort call."; break;
  case 7: msg = "Invalid pointer!"; break;
  case 11: msg = "Error: Segment violation."; break;
  case 15: msg = "Error: Software termination signal from kill."; break;
  case 31: msg = "Bad system call."; break;
  case 8:
    switch (code) {
    case 1: msg = "Floating point error: integer division by zero."; break;
    case 2: msg = "Floating point error: integer overflow."; break;
    case 3: msg = "Floating point error: floating point division by zero."; break;
    case 4: msg = "Floating point error: floating pint overflow."; break;
    case 5: msg = "Floating point error: floating point underflow."; break;
    case 6: msg = "Floating point error: floating point inexact result."; break;
    case 7: msg = "Floating point error: invalid floating point operation."; break;
    case 8: msg = "Floating point error: subscript out of range"; break;
    default: msg = "Floating point error."; break;
    }
    break;
  }
  if (msg)
    u_Print("%s\n", msg);
  if (nError == 0)
    nError = sig == 15 ? 3 : (sig == 8 ? 2 : 1);
  if (sig == 8)
    signal(8, sig_handler);
}
