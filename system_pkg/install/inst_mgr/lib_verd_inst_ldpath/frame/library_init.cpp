#include "frame/report.h"

#include <cstring>

TRACE_SITES_BEGIN(library_init)

namespace
{

constexpr char TRACE_NAME[] = "verd_inst_ldpath";
constexpr char SOURCE_PATH[] = "./verdalis/system_pkg/install/inst_mgr/lib_verd_inst_ldpath";
constexpr uint32_t TRACE_RECORDS = 20000;
constexpr uint32_t TRACE_RECORD_SIZE = 384;

constexpr trace::BuildId BUILD_ID = trace::build_id();

// fmt_info may be g_inst_pkg_fmt_info itself, and its name may lack the final NUL.
void copy_package_format(const inst_pkg_fmt_info &fmt_info)
{
    char name[sizeof g_inst_pkg_fmt_info.name] = {};
    std::memcpy(name, fmt_info.name, strnlen(fmt_info.name, sizeof name - 1));
    g_inst_pkg_fmt_info.is_new_format = fmt_info.is_new_format;
    std::memcpy(g_inst_pkg_fmt_info.name, name, std::strlen(name) + 1);
}

} // namespace

extern "C" {

uint64_t verd_inst_ldpath_vestra_hdl;

uint64_t verd_inst_ldpath_lib_init(uint64_t context, const inst_pkg_fmt_info *fmt_info)
{
    if (vestra_open_internal(&verd_inst_ldpath_vestra_hdl, TRACE_NAME, TRACE_RECORDS, TRACE_RECORD_SIZE, SOURCE_PATH,
                             BUILD_ID.digits, context) != 0) {
        std::fputs("ERROR: failed to init verd_inst_ldpath library vestra\n", stderr);
        return INSTMGR_RC_INIT_FAILED;
    }
    REPORT("ldpath lib vestra init succeeded\n");
    if (fmt_info != nullptr) {
        copy_package_format(*fmt_info);
    }
    const uint64_t rc = instcomm_util_init(context, 0);
    if (rc != 0) {
        REPORT("Error initializing instcomm_util lib, rc=0x%lx\n", rc);
    }
    return rc;
}
}

TRACE_SITES_END(library_init);
