// Version records. Each variant returns its own pair, so the cpuCode of the
// record a caller gets names the variant that runs its calls.
#include "core/variant.h"

namespace tpx::TPX_NS {
namespace {

// Build dates of the five image and signal builds, by variant index.
constexpr const char* kImageDate[] = {"Jul 18 2006", "Jul 18 2006", "Jul 19 2006", "Jul 19 2006",
                                      "Jul 19 2006"};
constexpr const char* kSignalDate[] = {"Jun 18 2006", "Jun 17 2006", "Jun 17 2006", "Jun 17 2006",
                                       "Jun 17 2006"};

constexpr TpxVersionRecord kImageVersion = {
    5, 1, 133, 272, TPX_CODE, "tpxi" TPX_CODE "l.lib", "5.1.1", kImageDate[TPX_VARIANT]};
constexpr TpxVersionRecord kSignalVersion = {
    5, 1, 133, 274, TPX_CODE, "tpxs" TPX_CODE "l.lib", "5.1.1", kSignalDate[TPX_VARIANT]};

}  // namespace
}  // namespace tpx::TPX_NS

const TpxVersionRecord* tpx::TPX_NS::tpxiGetLibVersion(void) { return &kImageVersion; }

const TpxVersionRecord* tpx::TPX_NS::tpxsGetLibVersion(void) { return &kSignalVersion; }
