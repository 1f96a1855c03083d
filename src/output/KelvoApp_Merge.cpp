// Merge of per-shot results into one file at the end of a run, or as a task
// of its own.
#include <unistd.h>

#include <cstring>
#include <string>

#include "output/GatherMerge.h"
#include "run/KelvoApp.h"
#include "seisfile/SdsPC.h"

namespace {

// Whether any of the numbered snapshot files beside szMerged (its name less
// the extension, "-%d.zpl", 1 to nLast) exists.
bool any_numbered_zpl(const char* szMerged, int nLast) {
  const std::string strBase(szMerged, strlen(szMerged) - 4);
  for (int i = 1; i <= nLast; i++)
    if (access((strBase + "-" + std::to_string(i) + ".zpl").c_str(), F_OK) == 0)
      return true;
  return false;
}

} // namespace

int CKelvoApp::MergeResults(const char* result, const char* pattern, int first, int last, bool remove) {
  if (!result || strlen(result) < 5)
    return -10;
  TYPEFILE type;
  if (!CSdsPC::GetTypeFromFileName(result, type))
    return -11;
  if (type == ZPL) {
    // Snapshot sections: the numbered files beside `result` are joined (and
    // always deleted) by the trace-file object itself. Nothing to join is no
    // failure: a merge task run twice, or shots without snapshots.
    if (!any_numbered_zpl(result, last)) {
      u_Warning("Warning! No per-shot files '%s' for shots 1..%d to merge; '%s' %s.\n", pattern, last, result,
                access(result, F_OK) == 0 ? "is left as it was" : "is not made");
      return 0;
    }
    CSdsPC sds;
    return sds.OnSaveNZpl2ZPL(result, last, 1) ? 0 : 1;
  }
  return CGatherMerge::MergeSgy(result, pattern, first, last, remove);
}
