#include "platform/posix/directory_kind.h"

#include <errno.h>
#include <sys/vfs.h>

#include "platform/fault_points.h"
#include "platform/posix/system_error.h"
#include "platform/vo_native_names.h"

VODirectoryKind KindOfFileSystem(uint32_t uType)
{
    // From the system's list of file systems, which names some of them only.
    switch (uType)
    {
        case 0x00006969:  // NFS
        case 0x0000517B:  // SMB
        case 0xFF534D42:  // CIFS
        case 0xFE534D42:  // SMB2
        case 0x0000564C:  // NCP
        case 0x5346414F:  // AFS
        case 0x6B414653:  // AFS, as the system's own client has it
        case 0x73757245:  // Coda
        case 0x00C36400:  // Ceph
        case 0x0BD00BD0:  // Lustre
        case 0x01161970:  // GFS2
        case 0x7461636F:  // OCFS2
        case 0x19830326:  // BeeGFS
        case 0x47504653:  // GPFS
        case 0x013111A8:  // IBRIX
        case 0x65735546:  // FUSE, also a host's folder in a virtual machine
        case 0x01021997:  // 9P
        case 0x786F4256:  // folders of hosts of virtual machines
        case 0xBACBACBC:
        case 0x7C7C6673:
            return VODirectoryKind::Remote;
        default:
            return VODirectoryKind::Local;
    }
}

bool VODirectoryKindOf(const VOWString& strPath, VODirectoryKind* peKind, VOSystemError* pError)
{
    struct statfs info;
    const bool bFails = VO_FAULT_POINT("statfs");
    if (bFails || statfs(VOToNativePath(strPath).c_str(), &info) != 0)
    {
        return FailWith(pError, bFails ? ENOMEM : errno);
    }
    *peKind = KindOfFileSystem(static_cast<uint32_t>(info.f_type));
    return true;
}
