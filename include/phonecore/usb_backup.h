/* phonecore: backup of camera cards. A volume mounted under /mnt with a
 * "DCIM" folder gets an identity mark ("quorbit_mark.conf" in its root) and
 * its DCIM folder is copied into a folder of that identity on the largest
 * disk above 50 GB. The caller scans: it fills usb_plist_cur (trave_dir
 * of "/mnt"), keeps the previous scan in usb_plist_pre, then calls
 * find_new_fold, find_back_up_device and process_img_backup. One thread. */
#ifndef PHONECORE_USB_BACKUP_H
#define PHONECORE_USB_BACKUP_H

#include <stdint.h>

#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

#define USB_FOLD_MAX 32       /* names in a list */
#define USB_FOLD_NAME_SIZE 32 /* a name keeps 31 characters */
#define USB_PATH_SIZE 256     /* backup_device's mount path */

typedef struct UsbFoldList {
    int32_t count;
    char name[USB_FOLD_MAX][USB_FOLD_NAME_SIZE];
} UsbFoldList;

typedef struct BackupDevice {
    uint8_t ready; /* 1 once a disk was chosen; never cleared */
    uint8_t found; /* 1 when the last search chose a disk */
    char path[USB_PATH_SIZE];
    uint64_t total_kb;
    uint64_t free_kb;
} BackupDevice;

PHONECORE_API extern UsbFoldList usb_plist_cur;
PHONECORE_API extern UsbFoldList usb_plist_pre;
PHONECORE_API extern UsbFoldList usb_plist_new;
PHONECORE_API extern UsbFoldList usb_plist_bigthan50g;
PHONECORE_API extern UsbFoldList usb_plist_unmount;
PHONECORE_API extern BackupDevice backup_device;
/* The folder sought on volumes, "DCIM". */
PHONECORE_API extern const char *ph_path;

/* The entries of path not beginning "." into list; the working directory
 * becomes path. 0; -1 when path does not open. */
PHONECORE_API int trave_dir(const char *path, UsbFoldList *list) PHONECORE_NOEXCEPT;
/* Unmounts and removes what /mnt holds but /dev does not ("sd", "mp3"
 * stay), listing it in usb_plist_unmount. 0. */
PHONECORE_API int delete_unmount_fold(void) PHONECORE_NOEXCEPT;
/* usb_plist_new: the names of usb_plist_cur missing from usb_plist_pre.
 * 1 when there is any, else 0. */
PHONECORE_API int find_new_fold(void) PHONECORE_NOEXCEPT;
/* usb_plist_bigthan50g: the entries of /mnt above 50 GB. 0. */
PHONECORE_API int find_fold_by_size(void) PHONECORE_NOEXCEPT;
/* The largest disk of /mnt above 50 GB into backup_device. 0. */
PHONECORE_API int find_back_up_device(void) PHONECORE_NOEXCEPT;
/* Marks, registers and backs up the volumes of usb_plist_new. 0. */
PHONECORE_API int process_img_backup(void) PHONECORE_NOEXCEPT;
/* operation 1 backs the id's folder up to the disk, 0 restores it. 0; -1
 * source missing or copy failed; -2 no backup disk. */
PHONECORE_API int recvcmd(const char *id, int operation) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
