#include "frame/debug_line.h"
#include "frame/error_text.h"
#include "frame/owned.h"
#include "persist/reader.h"

TRACE_SITES_BEGIN(fetch)

namespace
{

const char *local_or_master(uint8_t is_local)
{
    return is_local != 0 ? "local" : "master";
}

uint64_t decode(const char *path, inst_sw_profile_sdr_ext **profile_p)
{
    const uint64_t rc = inst_decode_sw_profile_ext(path, profile_p);
    if (rc != 0) {
        REPORT("Error! inst_decode_sw_profile_ext failed, %lx\n", rc);
    }
    return rc;
}

// The getters of a fixed scope and VM type. They return no error text. They ignore a failure to name the file: the
// reader then rejects the null path, or cannot open the empty one.
uint64_t get_fixed(const char *function, const char *sdr_key, uint8_t is_local, int32_t part_type, uint32_t vm_type,
                   inst_sw_profile_sdr_ext **profile_p)
{
    DEBUG_LINE_OF(function, 4, "Entering function %s, sdr_key='%s', part_type=%d\n", function, text_or_null(sdr_key),
                  part_type);
    uint64_t rc = 0;
    if (sdr_key == nullptr) {
        rc = INST_RC_INVALID_ARG;
        REPORT("Error! sdr_key is NULL\n");
    } else {
        REPORT("%s: sdr_key is %s\n", function, sdr_key);
        Owned<char> path;
        static_cast<void>(inst_get_sdr_swprofile_file(sdr_key, &path.ptr, is_local, part_type, vm_type, nullptr));
        rc = decode(path.ptr, profile_p);
    }
    DEBUG_LINE_OF(function, 2, "Leaving  function %s, rc = %lx\n", function, rc);
    return rc;
}

// The error texts in which the general getters differ.
struct Messages {
    const char *null_pointer;
    const char *no_file_name;
    const char *hint; // how to recover, or null
};

constexpr char NO_FILE_NAME[] = "Failed to get QX software profile file\n";
constexpr Messages GLOBAL = {"Hit an unexpected NULL pointer while getting the global software profile\n", NO_FILE_NAME,
                             nullptr};
constexpr Messages LOCAL = {"Hit an unexpected NULL pointer while getting the local software profile\n", NO_FILE_NAME,
                            "An internal error occurred. Use 'hw-module location <node ID> reload force' to recover\n"};
constexpr Messages LOCAL_GETTER = {"Hit an unexpected NULL pointer while getting local software profile\n",
                                   "Error as failed to get local QX software profile file\n", nullptr};

uint64_t name_and_decode(const Messages &messages, const char *sdr_key, uint8_t is_local, int32_t part_type,
                         uint32_t vm_type, inst_sw_profile_sdr_ext **profile_p, char **text)
{
    if (profile_p == nullptr) {
        REPORT("Error! local_sw_profile_ext_pp is NULL\n");
        error_text_add(text, "%s", messages.null_pointer);
        return INST_RC_INVALID_ARG;
    }
    Owned<char> path;
    const uint64_t rc = inst_get_sdr_swprofile_file(sdr_key, &path.ptr, is_local, part_type, vm_type, text);
    if (rc != 0) {
        REPORT("Error! inst_get_sdr_swprofile_file failed, %lx\n", rc);
        error_text_add(text, "%s", messages.no_file_name);
        if (messages.hint != nullptr) {
            error_text_add_hint(text, "%s", messages.hint);
        }
        return rc;
    }
    return decode(path.ptr, profile_p);
}

uint64_t get_general(const char *function, const Messages &messages, const char *sdr_key, uint8_t is_local,
                     int32_t part_type, uint32_t vm_type, inst_sw_profile_sdr_ext **profile_p, char **err_msg_p)
{
    DEBUG_LINE_OF(function, 2, "Entering function %s\n", function);
    char *text = nullptr;
    const uint64_t rc = name_and_decode(messages, sdr_key, is_local, part_type, vm_type, profile_p, &text);
    error_text_hand_over(&text, err_msg_p);
    DEBUG_LINE_OF(function, 2, "Leaving  function %s, rc = %lx\n", function, rc);
    return rc;
}

} // namespace

extern "C" {

uint64_t inst_ldpath_get_sdr_swprofile(const char *sdr_key, int32_t part_type,
                                       inst_sw_profile_sdr_ext **local_sw_profile_ext_pp)
{
    return get_fixed(__func__, sdr_key, 0, part_type, VERD_VM_QX, local_sw_profile_ext_pp);
}

uint64_t inst_ldpath_get_sdr_swprofile_lcp(const char *sdr_key, int32_t part_type,
                                           inst_sw_profile_sdr_ext **local_sw_profile_ext_pp)
{
    return get_fixed(__func__, sdr_key, 0, part_type, VERD_VM_LC_QX, local_sw_profile_ext_pp);
}

uint64_t inst_ldpath_get_sdr_swprofile_uvf(const char *sdr_key, int32_t part_type,
                                           inst_sw_profile_sdr_ext **local_sw_profile_ext_pp)
{
    return get_fixed(__func__, sdr_key, 0, part_type, VERD_VM_UVF, local_sw_profile_ext_pp);
}

uint64_t inst_ldpath_get_sdr_local_swprofile(const char *sdr_key, int32_t part_type,
                                             inst_sw_profile_sdr_ext **local_sw_profile_ext_pp)
{
    return get_fixed(__func__, sdr_key, 1, part_type, VERD_VM_QX, local_sw_profile_ext_pp);
}

uint64_t inst_ldpath_get_swprofile(const char *sdr_key, uint8_t is_local, int32_t part_type, uint32_t vm_type,
                                   inst_sw_profile_sdr_ext **local_sw_profile_ext_pp, char **error_message_out)
{
    return get_general(__func__, is_local != 0 ? LOCAL : GLOBAL, sdr_key, is_local, part_type, vm_type,
                       local_sw_profile_ext_pp, error_message_out);
}

uint64_t inst_ldpath_get_local_swprofile(const char *sdr_key, int32_t part_type, uint32_t vm_type,
                                         inst_sw_profile_sdr_ext **local_sw_profile_ext_pp, char **error_message_out)
{
    return get_general(__func__, LOCAL_GETTER, sdr_key, 1, part_type, vm_type, local_sw_profile_ext_pp,
                       error_message_out);
}

uint64_t inst_ldpath_get_sw_profile_if_exists(const char *sdr_key, uint8_t is_local, int32_t part_type,
                                              uint32_t vm_type, inst_sw_profile_sdr_ext **local_sw_profile_ext_pp)
{
    if (local_sw_profile_ext_pp == nullptr) {
        return INST_RC_INVALID_ARG;
    }
    uint8_t exists = 0;
    uint64_t rc = inst_ldpath_check_swprofile_exists(sdr_key, is_local, part_type, vm_type, &exists, nullptr);
    if (rc != 0) {
        return rc;
    }
    if (exists == 0) {
        REPORT("SPERROR: Src: %s %s %s  swp doesn't exist\n", verd_vm_type_name(vm_type), local_or_master(is_local),
               verd_state_name(part_type));
        return INSTMGR_RC_SWPROFILE_NOT_FOUND;
    }
    REPORT("SPINFO: Src: %s %s %s sw profile exists\n", verd_vm_type_name(vm_type), local_or_master(is_local),
           verd_state_name(part_type));
    inst_sw_profile_sdr_ext *profile = nullptr;
    rc = inst_ldpath_get_swprofile(sdr_key, is_local, part_type, vm_type, &profile, nullptr);
    if (rc != 0) {
        REPORT("SPERROR: %s: failed to query %s %s %s sw profile, rc=%ld\n", __func__, verd_vm_type_name(vm_type),
               local_or_master(is_local), verd_state_name(part_type), rc);
        inst_ldpath_free_swprofile_ext(&profile); // an interposed getter may have set it
        return rc;
    }
    *local_sw_profile_ext_pp = profile;
    return 0;
}

void inst_ldpath_free_swprofile_ext(inst_sw_profile_sdr_ext **pp)
{
    if (pp == nullptr || *pp == nullptr) {
        return;
    }
    zeld_inst_sw_profile_sdr_ext_free_ext(*pp, std::free, 0, 0);
    std::free(*pp);
    *pp = nullptr;
}
}

TRACE_SITES_END(fetch);
