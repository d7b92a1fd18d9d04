// The parts of model import that its source files share: reading in this process, reading
// in a child process, and the checks of headers made before either.
#pragma once

#include <functional>
#include <string>

#include "lumox/host/files.h"
#include "lumox/import/lumimport.h"

namespace lumox::importparts {

// "Cannot read the Kind file "F": Reason." (Reason without its final full stop).
std::string FileError(const std::string& Kind, const std::string& FileName, std::string Reason);
// FileError of a model file.
std::string ModelError(const std::string& FileName, std::string Reason);

// Throws Exception (ModelError) when the header of FileName promises more than the file
// can hold, or nests deeper than the importer can follow: PLY and OFF element counts
// against the file's size, glTF node depth. Files of other formats pass.
void PreCheck(const std::string& FileName);

// Reads FileName with the importer in this process into a new node owned by Owner, every
// file opened through Access. The options' UpAxis and Scale are not applied. With
// ProcessEnds (a child that ends after handing the node back) the importer's own memory
// is left to the end of the process.
TLumNode* ImportHere(const std::string& FileName, TComponent* Owner,
                     const TLumImportOptions& Options, const TLumFileAccess& Access,
                     bool ProcessEnds = false);

// What runs in the child: reads into a new node owned by Owner, with the caller's options
// (not isolated; progress and warnings go to the parent); Note hands a text to the
// parent's OnNote.
using TIsolatedReader =
    std::function<TLumNode*(TComponent* Owner, const TLumImportOptions& Here,
                            const std::function<void(const std::string&)>& Note)>;

// Runs Read in a child process with the options' limits of memory and time. The child
// hands the node back as a scene file with its textures and the parts' meshes beside it;
// the parent reads it into a new node owned by Owner. How the child ended, when it failed,
// is said in an Exception naming the file as a Kind file ("model", "DXF"); the reader's
// own refusals come back in its words.
TLumNode* ReadIsolated(const std::string& FileName, const std::string& Kind, TComponent* Owner,
                       const TLumImportOptions& Options, const TIsolatedReader& Read,
                       const std::function<void(const std::string&)>& OnNote = {});

// ImportHere in a child process with the options' limits.
TLumNode* ImportIsolated(const std::string& FileName, TComponent* Owner,
                         const TLumImportOptions& Options, const TLumFileAccess& Access);

}  // namespace lumox::importparts
