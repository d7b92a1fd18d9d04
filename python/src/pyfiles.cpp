// Files from Python: LUMGL scenes (with their load warnings as a list), form files,
// model files in and out, and DXF drawings. Failures raise lumox.Error (or LoadError,
// FormError) with the library's message.
#include <pybind11/functional.h>
#include <pybind11/stl.h>
#include <sys/stat.h>

#include <cmath>
#include <exception>
#include <fstream>
#include <regex>

#include "lumox/exchange/lumexchange.h"
#include "lumox/host/formfile.h"
#include "lumox/import/lumdxfimport.h"
#include "lumox/import/lumimport.h"
#include "lumox/scene/lumobj.h"
#include "lumoxpy.h"

namespace lumoxpy {

using namespace lumox;

namespace {

PyObject* GLoadError = nullptr;

py::object Wrapped(TPersistent* P) { return py::reinterpret_steal<py::object>(Wrap(P)); }

// A component made here for a caller that gave no owner belongs to its Python object.
py::object Handed(TComponent* C, TComponent* AOwner) {
  return py::reinterpret_steal<py::object>(AOwner ? Wrap(C) : WrapOwned(C));
}

py::object WarningRecord(const TLumLoadWarning& W) {
  py::object Kind = EnumValue(EnumType("TLumLoadWarningKind", TLumLoadWarningKindStr), W.Kind);
  return Module().attr("SceneWarning")(Kind, W.FileName, W.Line, W.Element, W.Text, W.ToString());
}

py::list WarningList(const std::vector<TLumLoadWarning>& Warnings) {
  py::list L;
  for (const auto& W : Warnings) L.append(WarningRecord(W));
  return L;
}

// Load warnings go into the caller's list when one is given, else into one LoadWarning.
void HandWarnings(const py::list& List, const py::object& Warnings, const std::string& FileName,
                  const char* Function) {
  if (!Warnings.is_none()) {
    Warnings.attr("extend")(List);
    return;
  }
  if (List.empty()) return;
  const std::string Text = FileName + ": " + std::to_string(List.size()) + " load warning" +
                           (List.size() == 1 ? "" : "s") +
                           ", the first: " + std::string(py::str(List[0])) + " (" + Function +
                           "(..., warnings=[]) collects them all)";
  if (PyErr_WarnEx(Module().attr("LoadWarning").ptr(), Text.c_str(), 1) < 0)
    throw py::error_already_set();
}

// lumox.LoadError for a scene that cannot be read: the library's message, and the file,
// line and element it names.
[[noreturn]] void RaiseLoadError(const std::string& FileName, const std::string& Message, int Line,
                                 const std::string& Element) {
  py::object Exc = py::reinterpret_borrow<py::object>(GLoadError)(Message);
  Exc.attr("file_name") = FileName;
  Exc.attr("line") = Line;
  Exc.attr("element") = Element;
  PyErr_SetObject(GLoadError, Exc.ptr());
  throw py::error_already_set();
}

// The line a load failure names ("... line 12 ...", "FILE:12:"), 0 when none.
int LineOf(const std::string& Message, const std::string& FileName) {
  std::smatch M;
  static const std::regex Line(R"(\bline (\d+))");
  if (std::regex_search(Message, M, Line)) return std::stoi(M[1]);
  const std::string Prefix = FileName + ":";
  if (const size_t At = Message.find(Prefix); At != std::string::npos) {
    const size_t From = At + Prefix.size();
    size_t To = From;
    while (To < Message.size() && std::isdigit(static_cast<unsigned char>(Message[To]))) ++To;
    if (To > From) return std::stoi(Message.substr(From, To - From));
  }
  return 0;
}

std::string ElementOf(const std::string& Message) {
  std::smatch M;
  static const std::regex Element(R"re(element "([^"]*)")re");
  return std::regex_search(Message, M, Element) ? std::string(M[1]) : std::string();
}

// What the reader cannot say itself: a directory, or a file that cannot be opened. What
// the file holds is the reader's to judge, as it is for Exchange.load_from_file.
void CheckSceneFile(const std::string& FileName) {
  struct stat St {};
  if (::stat(FileName.c_str(), &St) == 0 && S_ISDIR(St.st_mode))
    RaiseLoadError(FileName, "\"" + FileName + "\" is a directory, not a scene file", 0, "");
  std::ifstream In(FileName, std::ios::binary);
  if (!In)
    RaiseLoadError(FileName, "Cannot open file \"" + FileName + "\": " + std::strerror(errno), 0,
                   "");
}

// Loads a scene into Root; the warnings in the order found.
std::vector<TLumLoadWarning> LoadInto(const std::string& FileName, TLumNode* Root) {
  CheckSceneFile(FileName);
  TLumExchange Exchange(nullptr);
  Exchange.SetFileName(FileName);
  try {
    Exchange.LoadfromFile(Root);
  } catch (const Exception& E) {
    RaiseLoadError(FileName, E.what(), LineOf(E.what(), FileName), ElementOf(E.what()));
  }
  return Exchange.Warnings();
}

void RegisterScenes(py::module_& M) {
  GLoadError = PyErr_NewExceptionWithDoc(
      "lumox.LoadError",
      "A scene file that cannot be loaded: the library's message, with file_name, line (0 when "
      "the message names none) and element; for strict loads, warnings holds the load "
      "warnings.",
      ErrorType(), nullptr);
  if (!GLoadError) throw py::error_already_set();
  M.attr("LoadError") = py::handle(GLoadError);
  // A load warning as a record; str() gives "FILE:LINE: element "NAME": TEXT".
  py::object Base =
      py::module_::import("collections")
          .attr("namedtuple")("SceneWarning", "kind file_name line element text message");
  py::dict Body;
  Body["__module__"] = "lumox";
  Body["__doc__"] =
      "A place where a scene file's text was not taken as written: kind (LoadWarningKind), "
      "file_name, line (from 1; 0 for the whole file), element, text and the whole message.";
  py::object Record =
      py::module_::import("builtins").attr("type")("SceneWarning", py::make_tuple(Base), Body);
  Record.attr("__str__") = py::cpp_function([](py::handle S) { return S.attr("message"); },
                                            py::is_method(Record), py::name("__str__"));
  M.attr("SceneWarning") = Record;
  M.attr("LoadWarning") = PyErr_NewExceptionWithDoc(
      "lumox.LoadWarning",
      "Issued by load_scene and load_model, when no warnings list is given, for a file that "
      "loaded with load warnings.",
      PyExc_UserWarning, nullptr);
  EnumType("TLumLoadWarningKind", TLumLoadWarningKindStr);

  M.def(
      "load_scene",
      [](const std::string& FileName, TComponent* AOwner, TLumNode* Root, bool Strict,
         py::object Warnings) {
        py::object Result;
        if (Root) {
          Result = Wrapped(Root);
        } else {
          Root = new TLumNode(AOwner);
          Result = Handed(Root, AOwner);
        }
        const size_t Before = static_cast<size_t>(Root->GetCount());
        std::vector<TLumLoadWarning> Found = LoadInto(FileName, Root);
        py::list List = WarningList(Found);
        if (Strict && !Found.empty()) {
          std::string Text = std::to_string(Found.size()) + " load warning" +
                             (Found.size() == 1 ? "" : "s") + " in \"" + FileName + "\":";
          for (const auto& W : Found) Text += "\n" + W.ToString();
          // The items of a strict load that failed go again.
          while (Root->GetCount() > static_cast<int>(Before)) {
            TLumRender* Item = Root->GetItems(Root->GetCount() - 1);
            if (Item->Owner() == Root)
              delete Item;
            else
              Root->Delete(Root->GetCount() - 1);
          }
          py::object Exc = py::reinterpret_borrow<py::object>(GLoadError)(Text);
          Exc.attr("file_name") = FileName;
          Exc.attr("line") = Found.front().Line;
          Exc.attr("element") = Found.front().Element;
          Exc.attr("warnings") = List;
          PyErr_SetObject(GLoadError, Exc.ptr());
          throw py::error_already_set();
        }
        HandWarnings(List, Warnings, FileName, "load_scene");
        return Result;
      },
      py::arg("file_name"), py::arg("owner") = py::none(), py::kw_only(),
      py::arg("root") = py::none(), py::arg("strict") = false, py::arg("warnings") = py::none(),
      "Loads a LUMGL scene file and returns its root node: a new Node owned by owner (belonging "
      "to its Python object without one), or root, to which the file's items are added. Load "
      "warnings (places where the file's text was not taken as written) are appended to the "
      "list warnings when one is given, else summed up in one LoadWarning; strict=True makes "
      "them a LoadError (and adds nothing). A file that cannot be read raises LoadError with "
      "the library's message and its file, line and element. A file without an \"Objects\" "
      "element (any other text or XML) loads nothing, with a load warning saying so.");
  M.def(
      "check_scene",
      [](const std::string& FileName) {
        TLumNode Root(nullptr);
        return WarningList(LoadInto(FileName, &Root));
      },
      py::arg("file_name"),
      "The load warnings of a scene file, as a list of SceneWarning (for a file without an "
      "\"Objects\" element, the warning that nothing was loaded).");
  M.def(
      "save_scene",
      [](TLumNode* Root, const std::string& FileName, std::optional<std::string> Description,
         bool NoDefaults, int Decimals, bool ParamNewLine) {
        Needed(Root, "save_scene takes the root node");
        TLumExchange Exchange(nullptr);
        Exchange.SetFileName(FileName);
        if (Description) Exchange.SetFileDescription(*Description);
        Exchange.SetNoDefaultValues(NoDefaults);
        Exchange.SetDecimals(Decimals);
        Exchange.SetParamNewLine(ParamNewLine);
        Exchange.SavetoFile(Root);
      },
      py::arg("root"), py::arg("file_name"), py::kw_only(), py::arg("description") = py::none(),
      py::arg("no_defaults") = false, py::arg("decimals") = 0, py::arg("param_new_line") = false,
      "Saves a node and everything under it as a LUMGL scene file (with texture side files "
      "beside it); the old file stays whole when the save fails.");

  AddMethod(
      "TLumExchange", "save_to_file", "SavetoFile",
      [](TLumExchange& E, TComponent* Obj) { E.SavetoFile(Obj); }, py::arg("node"),
      "Saves a node (it becomes the Objects element) to file_name, or ends a save_obj "
      "sequence.");
  AddMethod(
      "TLumExchange", "save_obj", "SaveObj",
      [](TLumExchange& E, TComponent* Obj) { E.SaveObj(Obj); }, py::arg("component"),
      "Adds one top-level object to the file being collected.");
  AddMethod(
      "TLumExchange", "load_from_file", "LoadfromFile",
      [](TLumExchange& E, TComponent* Target) {
        Needed(Target, "load_from_file takes the target node");
        E.LoadfromFile(Target);
      },
      py::arg("target"), "Loads file_name; the file's objects are added to the target.");
  AddProperty("TLumExchange", "warnings", "Warnings",
              py::cpp_function([](TLumExchange& E) { return WarningList(E.Warnings()); }), {},
              "The load warnings of the last load, as a list of SceneWarning.");
}

// --- form files ------------------------------------------------------------------------------

py::list Components(const std::vector<TComponent*>& List) {
  py::list L;
  for (TComponent* C : List) L.append(Wrapped(C));
  return L;
}

void RegisterForms(py::module_& M) {
  M.def(
      "save_form",
      [](TComponent* AOwner, const std::string& FileName) {
        Needed(AOwner, "save_form takes the owner of the components");
        SaveComponentForm(AOwner, FileName);
      },
      py::arg("owner"), py::arg("file_name"),
      "Writes every component owner holds (with their properties and references) as a form "
      "file; the old file stays whole when writing fails. FormError names what cannot be "
      "written.");
  M.def(
      "load_form",
      [](TComponent* AOwner, const std::string& FileName) {
        Needed(AOwner, "load_form takes the owner of the new components");
        return Components(LoadComponentForm(AOwner, FileName));
      },
      py::arg("owner"), py::arg("file_name"),
      "Reads a form file's components into owner and returns those directly under it, in file "
      "order. On an error (FormError with file_name, line, property and reason) owner is left "
      "as it was.");
  M.def(
      "form_text",
      [](TComponent* AOwner) {
        Needed(AOwner, "form_text takes the owner of the components");
        return ComponentFormText(AOwner);
      },
      py::arg("owner"), "The form file save_form would write, as a string.");
  M.def(
      "read_form_text",
      [](TComponent* AOwner, const std::string& Text, const std::string& Name) {
        Needed(AOwner, "read_form_text takes the owner of the new components");
        return Components(ReadComponentFormText(AOwner, Text, Name));
      },
      py::arg("owner"), py::arg("text"), py::arg("name") = "<text>",
      "Reads a form from a string, as load_form reads a file; name stands for the file in "
      "errors.");
}

// --- models and drawings --------------------------------------------------------------------

void RegisterModels(py::module_& M) {
  EnumType("TLumUpAxis", std::vector<std::string>{"uaKeep", "uaZUpToYUp", "uaYUpToZUp"});
  M.def(
      "load_model",
      [](const std::string& FileName, TComponent* AOwner, py::handle UpAxis, double Scale,
         bool GenerateNormals, std::function<void(double)> OnProgress,
         std::vector<std::string> ResourceRoots, uint64_t MaxFileSize, bool Isolated,
         uint32_t MaxMemoryMB, double TimeLimit, py::object Warnings) {
        TLumImportOptions Options;
        Options.UpAxis = static_cast<TLumUpAxis>(EnumOrdinal(
            Module().attr("UpAxis"), {"uaKeep", "uaZUpToYUp", "uaYUpToZUp"}, UpAxis, "up_axis"));
        Options.Scale = Scale;
        Options.GenerateNormals = GenerateNormals;
        // What the handler raised comes out as itself: the importer catches it on the way and
        // reports only an "Unknown exception".
        std::exception_ptr Raised;
        if (OnProgress)
          Options.OnProgress = [&Raised, Fn = std::move(OnProgress)](double Done) {
            try {
              Fn(Done);
            } catch (...) {
              Raised = std::current_exception();
              throw;
            }
          };
        Options.ResourceRoots = std::move(ResourceRoots);
        Options.MaxFileSize = MaxFileSize;
        Options.Isolated = Isolated;
        if (MaxMemoryMB == 0) throw py::value_error("max_memory_mb takes a number above 0");
        Options.MaxMemoryMB = MaxMemoryMB;
        // The child's limits are whole seconds of a clock: NaN or infinity cannot set one.
        if (!(TimeLimit > 0) || !std::isfinite(TimeLimit))
          throw py::value_error("time_limit takes a finite number of seconds above 0");
        Options.TimeLimit = TimeLimit;
        std::vector<TLumLoadWarning> Found;
        Options.OnWarning = [&Found](const TLumLoadWarning& W) { Found.push_back(W); };
        py::object Result;
        try {
          Result = Handed(LoadModel(FileName, AOwner, Options), AOwner);
        } catch (...) {
          if (Raised) std::rethrow_exception(Raised);
          throw;
        }
        HandWarnings(WarningList(Found), Warnings, FileName, "load_model");
        return Result;
      },
      py::arg("file_name"), py::arg("owner") = py::none(), py::kw_only(), py::arg("up_axis") = 0,
      py::arg("scale") = 1.0, py::arg("generate_normals") = true,
      py::arg("on_progress") = py::none(), py::arg("resource_roots") = std::vector<std::string>(),
      py::arg("max_file_size") = TLumImportOptions().MaxFileSize, py::arg("isolated") = false,
      py::arg("max_memory_mb") = TLumImportOptions().MaxMemoryMB,
      py::arg("time_limit") = TLumImportOptions().TimeLimit, py::arg("warnings") = py::none(),
      "Reads a model file (OBJ, STL, PLY, glTF, 3DS and the other formats of the Asset Importer) "
      "into a new Node: the file's nodes as nodes, each node's meshes in one Lum3dObj. up_axis "
      "(UpAxis) turns Z-up files upright; scale multiplies all coordinates. The model reads "
      "only regular files under its own folder, each of at most max_file_size bytes; "
      "resource_roots adds folders. isolated=True imports in a child process stopped beyond "
      "max_memory_mb of memory or time_limit seconds, so that a reader that crashes or hangs "
      "raises lumox.Error. What the file names but cannot give (a missing texture) is a load "
      "warning: appended to the list warnings when one is given, else summed up in one "
      "LoadWarning.");
  M.def(
      "save_model",
      [](TLumNode* Root, const std::string& FileName, bool Apply) {
        Needed(Root, "save_model takes the root node");
        SaveModel(Root, FileName, Apply);
      },
      py::arg("root"), py::arg("file_name"), py::arg("apply_transformations") = true,
      "Writes the meshes under a node as .obj, .stl, .gltf or .glb (by the extension).");
  M.def("is_model_file", &IsModelFile, py::arg("file_name"),
        "Whether load_model reads files of this name's extension.");
  M.def("is_export_file", &IsExportFile, py::arg("file_name"),
        "Whether save_model writes files of this name's extension.");
  AddMethod(
      "TLum3dObj", "load_from_file", "LoadFromFile",
      [](TLum3dObj& O, const std::string& FileName) { O.LoadFromFile(FileName); },
      py::arg("file_name"),
      "Replaces the parts by the meshes of a model file; on failure the parts stay as they were.");

  AddMethod(
      "TLumDXFImport", "execute", "Execute", [](TLumDXFImport& D) { return Wrapped(D.Execute()); },
      "Reads file_name into a new Lum3dObj added to target, and returns it.");
  AddProperty("TLumDXFImport", "unknown_entities", "UnknownEntities",
              py::cpp_function([](TLumDXFImport& D) { return D.UnknownEntities(); }), {},
              "The entities the last execute skipped, by name, with their counts.");
  M.def(
      "import_dxf",
      [](const std::string& FileName, TLumNode* Target, TComponent* AOwner,
         std::vector<std::string> Layers, py::handle ColorMode) {
        // Without a target the importer owns the object it makes: it is handed on to
        // owner (or Python) before the importer goes.
        TLumDXFImport Import(nullptr);
        Import.SetFileName(FileName);
        Import.SetTarget(Target);
        Import.SetLayers(Layers);
        Import.SetColorMode(static_cast<TLumDXFColorMode>(EnumOrdinal(
            Module().attr("DXFColorMode"), {"dcByEntity", "dcByLayer"}, ColorMode, "color_mode")));
        TLum3dObj* Obj = Import.Execute();
        if (Obj->Owner() == &Import) {
          Import.RemoveComponent(Obj);
          if (AOwner) AOwner->InsertComponent(Obj);
          return Handed(Obj, AOwner);
        }
        return Wrapped(Obj);
      },
      py::arg("file_name"), py::arg("target") = py::none(), py::arg("owner") = py::none(),
      py::kw_only(), py::arg("layers") = std::vector<std::string>(), py::arg("color_mode") = 0,
      "Reads a DXF drawing into a new Lum3dObj (one part per layer) and returns it: added to "
      "target (owned by the target's owner) when one is given, else owned by owner (or by its "
      "Python object).");
}

}  // namespace

void RegisterFiles(py::module_& M) {
  RegisterScenes(M);
  RegisterForms(M);
  RegisterModels(M);
}

}  // namespace lumoxpy
