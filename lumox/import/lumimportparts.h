// The parts of model import that its source files share: reading in this process, reading
// in a child process, and the checks of headers made before either.
#pragma once

#include <string>

#include "lumox/host/files.h"
#include "lumox/import/lumimport.h"

namespace lumox::importparts {

// "Cannot read the model file "F": Reason." (Reason without its final full stop).
std::string ModelError(const std::string& FileName, std::string Reason);

// Throws Exception (ModelError) when the header of FileName promises more than the file
// can hold, or nests deeper than the importer can follow: PLY and OFF element counts
// against the file's size, glTF node depth. Files of other formats pass.
void PreCheck(const std::string& FileName);

// Reads FileName with the importer in this process into a new node owned by Owner, every
// file opened through Access. The options' UpAxis and Scale are not applied.
TLumNode* ImportHere(const std::string& FileName, TComponent* Owner,
                     const TLumImportOptions& Options, const TLumFileAccess& Access);

// ImportHere in a child process with the options' limits; the child hands the node back
// as a scene file with its textures beside it.
TLumNode* ImportIsolated(const std::string& FileName, TComponent* Owner,
                         const TLumImportOptions& Options, const TLumFileAccess& Access);

}  // namespace lumox::importparts
