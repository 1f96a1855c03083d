#include "Entry.h"

#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>
#if defined(__SSE__) || defined(__x86_64__)
#include <xmmintrin.h>
#endif

#include "HostCensus.h"
#include "KelvoApp.h"
#include "StartupScan.h"
#include "StopSignal.h"
#include "cluster/MessageTags.h"
#include "common.h"
#include "os.h"

MPI_Group MPI_GROUP_WORLD = MPI_GROUP_NULL;
MPI_Group MPI_GROUP_MT = MPI_GROUP_NULL;
int g_die = 1;

void entry_set_fp_state() {
#if defined(__SSE__) || defined(__x86_64__)
  _mm_setcsr(_mm_getcsr() | 0x8040);
#endif
}

// A shot number of the command line: digits only, 0 or more.
static bool parse_shot_number(const char* sz, int& nValue) {
  if (!sz || !*sz)
    return false;
  char* pEnd = nullptr;
  errno = 0;
  const long n = strtol(sz, &pEnd, 10);
  if (*pEnd != 0 || errno != 0 || n < 0 || n > INT_MAX)
    return false;
  nValue = (int)n;
  return true;
}

int entry_parse_shots(int argc, char** argv, int& nFirst, int& nLast, CString& strMessage) {
  nFirst = nLast = 0;
  strMessage.Empty();
  if (argc == 3) {
    strMessage.Format("Warning! A shot range needs two numbers ('kelvo x FIRST LAST'): '%s' is ignored and all shot "
                      "points are computed.\n",
                      argv[2]);
    return 1;
  }
  if (argc < 4)
    return 0;
  for (int i = 2; i <= 3; i++) {
    int& n = i == 2 ? nFirst : nLast;
    if (!parse_shot_number(argv[i], n)) {
      strMessage.Format("Error! Incorrect shot point number '%s' on the command line: the shot range is 'kelvo x "
                        "FIRST LAST' with whole numbers of 1 or more.\n",
                        argv[i]);
      nFirst = nLast = 0;
      return -1;
    }
  }
  return 0;
}

// Idle loop of a Passive process: waits for the end of the run or for a stop
// order from rank 0, sleeping between looks.
static int entry_passive_loop() {
  for (;;) {
    int nFlag = 0;
    MPI_Status st;
    MPI_Iprobe(0, TAG_RUN_OVER, MPI_COMM_WORLD, &nFlag, &st);
    if (nFlag) {
      int nValue = 0;
      MPI_Recv(&nValue, 1, MPI_INT, 0, TAG_RUN_OVER, MPI_COMM_WORLD, &st);
      MPI_Barrier(MPI_COMM_WORLD);
      MPI_Finalize();
      return 0;
    }
    MPI_Iprobe(0, TAG_STOP_ORDER, MPI_COMM_WORLD, &nFlag, &st);
    if (nFlag) {
      MPI_Finalize();
      return -1;
    }
    sleep(2);
  }
}

int kelvo_main(int argc, char** argv) {
  entry_set_fp_state();
  if (!CString_SelfTest())
    return 1;

  int nFirst = 0, nLast = 0;
  CString strRange;
  const int nRange = entry_parse_shots(argc, argv, nFirst, nLast, strRange);

  MPI_Init(&argc, &argv);
  run_InstallStopHandlers();
  int nWorldRank = 0, nWorldSize = 0;
  MPI_Comm_rank(MPI_COMM_WORLD, &nWorldRank);
  MPI_Comm_size(MPI_COMM_WORLD, &nWorldSize);
  if (nWorldSize == 0)
    return -2;
  // Every process reads the same arguments; rank 0 alone speaks of them.
  if (nWorldRank == 0 && nRange < 0)
    u_Error("%s", strRange.c_str());
  else if (nWorldRank == 0 && nRange > 0)
    u_Warning("%s", strRange.c_str());
  if (nRange < 0) {
    if (nWorldRank == 0) {
      printf("The program has finised with result %d.\n", -1);
      fflush(stdout);
    }
    MPI_Finalize();
    return -1;
  }

  char szHost[80];
  memset(szHost, 0, sizeof(szHost));
  if (gethostname(szHost, 79) != 0)
    szHost[0] = 0;
  szHost[79] = 0;
  const int nCPUs = (int)sysconf(_SC_NPROCESSORS_ONLN);

  CStartupScan scan(nCPUs, os::GetCUDADeviceCount);
  scan.Scan("runtask.ini");

  CHostCensus* pCensus = nullptr;
  if (nCPUs == 1 || nWorldSize == 1 || scan.m_bSkip) {
    MPI_COMM_MT = MPI_COMM_WORLD;
    g_nNode = nWorldRank;
    g_nSize = nWorldSize;
  } else {
    const int nWanted = scan.Wanted();
    if (nWorldRank == 0) {
      printf("...Assuming %d threads per process, %d threads per node, %d processes per node\n", scan.m_nThreads, nCPUs,
             nWanted);
      fflush(stdout);
      pCensus = new CHostCensus(nWorldSize);
      pCensus->ReceiveAll();
      pCensus->Thin();
    } else {
      CHostCensus::SendOwn(szHost, nWanted);
    }
    std::vector<int> vList(nWorldSize + 1, 0);
    int nActive = 0;
    if (pCensus) {
      nActive = pCensus->GetActiveList(vList);
      pCensus->PrintRoles();
    }
    MPI_Bcast(&nActive, 1, MPI_INT, 0, MPI_COMM_WORLD);
    MPI_Bcast(vList.data(), nActive, MPI_INT, 0, MPI_COMM_WORLD);
    MPI_Comm_group(MPI_COMM_WORLD, &MPI_GROUP_WORLD);
    MPI_Group_incl(MPI_GROUP_WORLD, nActive, vList.data(), &MPI_GROUP_MT);
    MPI_Comm_create(MPI_COMM_WORLD, MPI_GROUP_MT, &MPI_COMM_MT);

    int nNewRank = -1;
    for (int i = 0; i < nActive; i++)
      if (vList[i] == nWorldRank)
        nNewRank = i;
    if (nNewRank < 0)
      return entry_passive_loop();
    MPI_Group_rank(MPI_GROUP_MT, &g_nNode);
    MPI_Group_size(MPI_GROUP_MT, &g_nSize);
    printf("Active process #%d has new rank #%d!\n", nWorldRank, g_nNode);
    fflush(stdout);
  }

  int rc = 0;
  try {
    rc = kelvo_run(nFirst, nLast);
  } catch (...) {
    printf("An exception has been raiesd!\n");
    rc = 200;
  }

  if (nWorldRank == 0 && rc == -1000) {
    std::vector<MPI_Request> vReq(nWorldSize > 1 ? nWorldSize - 1 : 0);
    for (int i = 1; i < nWorldSize; i++)
      MPI_Isend(&g_die, 1, MPI_INT, i, TAG_STOP_ORDER, MPI_COMM_WORLD, &vReq[i - 1]);
    printf("The program has finised with result %d.\n", rc);
    fflush(stdout);
    sleep(10);
    MPI_Abort(MPI_COMM_WORLD, -1000);
    return -1000;
  }
  if (nWorldRank == 0 && pCensus) {
    int nOver = 1;
    for (int i = 1; i < nWorldSize; i++)
      if (!pCensus->m_vRecords[i].bActive)
        MPI_Send(&nOver, 1, MPI_INT, i, TAG_RUN_OVER, MPI_COMM_WORLD);
    delete pCensus;
    pCensus = nullptr;
  }
  MPI_Barrier(MPI_COMM_WORLD);
  // The final line goes out before MPI_Finalize: once the others leave it, a
  // launcher that sees a non-zero exit may kill this process at once.
  if (nWorldRank == 0) {
    printf("The program has finised with result %d.\n", rc);
    fflush(stdout);
  }
  MPI_Finalize();
  return rc;
}
