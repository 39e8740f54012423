// Walking folders and reporting what matches name patterns.
#pragma once

#include <cstdint>
#include <span>

#include <tvk/Export.h>
#include <tvk/files/File.h>
#include <tvk/files/FileSpecification.h>
#include <tvk/files/FileString.h>

namespace tvk {

// An option of a scan: onFolderVisited() of a folder comes after its sub-folders, not before them.
inline constexpr std::uint32_t ScanFoldersAfter = 0x10;
// A flag of a scan: sub-folders are walked.
inline constexpr std::uint32_t ScanRecursive = 0x100;

// A scan of a folder, or of its whole tree, that calls hooks of a derived class. It is a File whose path
// names what is being reported, so that a hook can use the operations on names; it never opens its path.
//
// Order    Folder by folder: onFolder() with all matching entries, onFile() for each, onFolderVisited(); then
//          the sub-folders, each with everything below it, in the order in which the system lists them. A
//          folder's matches come pattern after pattern, each pattern's sorted as glob(3) sorts; what matches
//          two patterns comes twice.
// Patterns As glob(3) without flags, below the folder, whose own name is never a pattern: "*" leaves out
//          names that begin with ".", ".*" finds those but never "." and "..", a name without wildcards is
//          found when it exists, "sub/*" looks into sub, "../*" leaves the folder, a leading "/" does not.
//          Folders and links match like files.
// Links    The start folder may be one. Links to folders are reported where they match, and not walked.
// Errors   What cannot be read or has vanished is left out: such a folder gets its hooks, with no entries, and
//          folderError() tells why. Sub-folders whose paths would be longer than the system takes get none.
//          Exception 1014 when memory is short, also for a pattern of dozens of components with wildcards.
//          What a hook throws ends the scan and reaches the caller.
// Threads  A scan is used by one thread at a time.
//
// No folder is open while a hook runs: hooks may remove what they see. A sub-folder is not walked when a link
// was put in its place meanwhile, or in that of a folder above it.
//
//   class Counter : public tvk::FileTreeScan {
//    public:
//     using FileTreeScan::FileTreeScan;
//     std::uint64_t files = 0;
//    protected:
//     void onFile(const tvk::FileString& entry) override { files += tvk::isFile(entry); }
//   };
class TVK_EXPORT FileTreeScan : public File {
 public:
  // Takes a copy of the FileSpecification; its `recursive` adds ScanRecursive to the flags.
  explicit FileTreeScan(const FileSpecification& specification, std::uint32_t options = 0,
                        std::uint32_t flags = 0);
  ~FileTreeScan() override;

  // Nothing is ever open.
  void closeIfOpen() override;

 protected:
  // A folder is entered. The entries are full paths, valid for the call.
  virtual void onFolder(const FileString& folderPath, std::span<const FileString> files);
  // One matching entry; the scan's path is the entry.
  virtual void onFile(const FileString& entry);
  // The folder's own event; the scan's path is the folder.
  virtual void onFolderVisited();

 public:
  // Scans the folder of the FileSpecification as it is, without normalising it. The empty folder matches in
  // the current one and has no sub-folders.
  void run();
  // Scans another folder, or from within a hook one more.
  void scanFolder(const FileString& path);

  // How many entries of the folder being visited were reported, the present one included.
  std::uint64_t fileCount() const noexcept { return m_fileCount; }
  // Why the folder that onFolder() is called for could not be read as a whole: the system's error number, or 0.
  int folderError() const noexcept { return m_folderError; }
  const FileString& startFolder() const noexcept { return m_startFolder; }
  std::uint32_t options() const noexcept { return m_options; }
  std::uint32_t flags() const noexcept { return m_flags; }
  const FileSpecification& specification() const noexcept { return m_specification; }

 private:
  FileString m_startFolder;
  std::uint64_t m_fileCount = 0;
  std::uint32_t m_options;
  std::uint32_t m_flags;
  FileSpecification m_specification;
  int m_folderError = 0;
};

}  // namespace tvk
