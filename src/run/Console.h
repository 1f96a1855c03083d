// All output of the system: the console of rank 0 and one log file a process.
#pragma once
#include <mpi.h>

extern int g_nNode;
extern int g_nSize;
extern MPI_Comm MPI_COMM_MT;
extern char g_szLogFileName[256];
extern int g_IsTerminal;

#define KELVO_PRINTF(a, b) __attribute__((format(printf, a, b)))

int u_Print(const char* fmt, ...) KELVO_PRINTF(1, 2);
int u_Warning(const char* fmt, ...) KELVO_PRINTF(1, 2);
int u_Error(const char* fmt, ...) KELVO_PRINTF(1, 2);
int u_Success(const char* fmt, ...) KELVO_PRINTF(1, 2);
int u_CenterPrint(const char* fmt, ...) KELVO_PRINTF(1, 2);
int u_LinePrint(const char* fmt, ...) KELVO_PRINTF(1, 2);
void u_Line();
void u_FaceTitle(const char* title);
void u_Percent(int pct, int overall, int n, int total);
void u_Percent_master(int total, int done, int shot, int node);
void textcolor(int attr, int fg, int bg);
void PrintSystemDetails();
void sig_ftest(int sig, int code);
