// The lumox command's parts: the subcommands, scene loading and the built-in demo.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "lumox/exchange/lumexchange.h"

namespace lumox {
class TComponent;
class TLumNode;
class TLumRender;
class TLumCamera;
class TLumPerspectiveCamera;
class TLumView;
class TLumLight;
class TLumAttributes;
class TLumFormApp;
}  // namespace lumox

namespace lumoxcmd {

// Exit statuses: 0 success, 1 a scene that cannot be loaded, rendered or saved, 2 bad usage.
constexpr int ExitFailure = 1;
constexpr int ExitUsage = 2;

using TArgs = std::vector<std::string>;

// Each takes the arguments after its own name and returns the exit status.
int RunRender(const TArgs& Args, bool Demo);
int RunInfo(const TArgs& Args);
int RunConvert(const TArgs& Args);
int RunClasses(const TArgs& Args);
int RunCheck(const TArgs& Args);
// The window (view.cpp), built with Qt.
int RunView(const TArgs& Args);
// Frames of a scene or a reference scene timed headless (bench.cpp).
int RunBench(const TArgs& Args);
int Usage(bool Error);
// The usage of render and demo, on stdout; returns 0.
int RenderUsage();

// Prints "lumox: <message>" on stderr, naming File when the message does not, and
// returns ExitFailure.
int Fail(const std::string& File, const std::string& Message);
// Prints "lumox: <message>" and the usage hint on stderr, and returns ExitUsage.
int BadUsage(const std::string& Message);

// The largest image side --size accepts.
inline constexpr int MaxImageSide = 16384;
// "WIDTHxHEIGHT" (or X) with both positive; false for anything else.
bool ParseSize(const std::string& Text, int& W, int& H);

// What loading a scene found besides its objects.
struct TSceneLoad {
  std::vector<lumox::TLumLoadWarning> Warnings;
  // What is worth knowing but fails neither check nor --strict.
  std::vector<lumox::TLumLoadWarning> Notes;
  // The file's first camera element among its objects, owned by the load's Owner.
  lumox::TLumCamera* Camera = nullptr;
};

// Loads a LUMGL file into Root (objects owned by Owner); throws lumox::Exception naming
// the file when it cannot be read or holds no "Objects" element. Shows a progress bar on a
// terminal for large files. Returns the file's description; fills Load when given.
std::string LoadScene(const std::string& File, lumox::TComponent* Owner, lumox::TLumNode* Root,
                      TSceneLoad* Load = nullptr);

// The format reference: every class's element, attributes, defaults and children.
void PrintClassAttributes();
// The published properties of one class (case-insensitive name), or of every class when
// ClassName is empty: name, type and default, inherited ones first. Returns the exit
// status.
int PrintClassProperties(const std::string& ClassName);

// A load's notes, then its warnings on stderr: the first 20, then how many there are.
void PrintWarnings(const TSceneLoad& Load);
// With warnings: says that --strict fails on them and returns ExitFailure; else 0.
int StrictStatus(const std::string& File, const std::vector<lumox::TLumLoadWarning>& Warnings);
// Prints Root's tree: each item's class, names and world bounding box.
void PrintSceneTree(lumox::TLumNode* Root);

// Lets Exchange read a camera element standing among the file's objects (a child of
// "Objects" loaded into Root): the first one found becomes *Camera, owned by Owner.
void ReadFileCamera(lumox::TLumExchange* Exchange, lumox::TComponent* Owner, lumox::TLumNode* Root,
                    lumox::TLumCamera** Camera);
// Saves Root to Exchange's file, with Camera (if any) written among its objects.
void SaveWithCamera(lumox::TLumExchange* Exchange, lumox::TLumNode* Root,
                    lumox::TLumCamera* Camera);
// Reads render's camera options (--camera-distance, --fov, --near, --far, --fit,
// --camera-position, --look-at) from Args, and with a Camera sets it up by them for a
// Width x Height image of Root; returns 0, or ExitUsage after saying what is wrong.
int ApplyCameraOptions(const TArgs& Args, int Width, int Height, lumox::TLumNode* Root,
                       lumox::TLumPerspectiveCamera* Camera);

// What SaveScene writes besides the scene: the LUMGL writer's options and the file's
// description (the writer's own without one).
struct TSceneWrite {
  bool NoDefaults = false;
  bool ParamNewLine = false;
  int32_t Decimals = 0;
  std::optional<std::string> Description;
};
// Saves Root with Camera (if any) among its objects to File: a LUMGL scene, or the model
// format File's extension names (IsModelOutput). Throws lumox::Exception naming File.
void SaveScene(lumox::TLumNode* Root, lumox::TLumCamera* Camera, const std::string& File,
               const TSceneWrite& Write = {});

// Places Camera (looking along -Z) so that a Width x Height image shows all of Root, at
// Distance from the centre of its box when given; RoomToMove sets the clipping planes
// wide apart for a camera that will move. False (Camera unchanged) without vertices.
bool FitCamera(lumox::TLumPerspectiveCamera* Camera, lumox::TLumRender* Root, int Width, int Height,
               std::optional<double> Distance, bool RoomToMove);

// Whether the scene under Root has a light of its own (a TLumLight anywhere in it).
bool HasLights(lumox::TLumNode* Root);
// The light render and view give a scene without lights of its own: a directional light
// from the eye, with lighting on for both faces and normals made unit length after the
// scaling of nodes. Objects whose colour no material
// replaces (none of their own, none rendered before them) are lit in their own colour.
// Its components are owned by Owner.
class THeadlight {
 public:
  THeadlight(lumox::TComponent* Owner, lumox::TLumRender* Root);
  // Called at the start of each frame, before the scene.
  void Render(lumox::TLumView* View);

 private:
  lumox::TLumLight* FLight;
  lumox::TLumAttributes* FLit;
};
// Turns and moves Camera so that it looks from Eye at Target, Y up.
void LookAt(lumox::TLumCamera* Camera, const lumox::TLumMathVector& Eye,
            const lumox::TLumMathVector& Target);

// Form files (forms.cpp). Whether File names a form file (.lumform).
bool IsFormPath(const std::string& File);
// The form's scene as one node: its only root when that is a node, else a node owned by
// Helpers that refers to every root in order (AddIndirect) and leaves them where they are.
lumox::TLumNode* SceneOfForm(lumox::TLumFormApp& Run, lumox::TComponent* Helpers);
// What `lumox render` and `lumox view` show of a form: its first view drawing the form's
// scene (TLumFormApp::Connect), after the headlight when Headlight is set and the form
// has no light of its own.
struct TFormShow {
  lumox::TLumView* View = nullptr;
  // A plain component of the form that owns what is drawn besides the form's own
  // components; LumFreeScene frees it with the scene.
  lumox::TComponent* Helpers = nullptr;
  // The whole scene, for fitting a camera to it (SceneOfForm).
  lumox::TLumNode* Scene = nullptr;
};
// Throws lumox::Exception when the form has no view.
TFormShow ShowForm(lumox::TLumFormApp& Run, bool Headlight);
// Throws lumox::Exception naming the first named item that a scene file of Scene would
// hold twice (an item a node refers to and another holds), which could not load back.
void CheckSceneFileHoldsEachNameOnce(lumox::TLumNode* Scene);
// What a form holds that a scene file (or, with ModelOut, a model file) written from it
// does not: the view's size, background and axes, and materials' diffuse colours.
std::vector<std::string> FormOnlyThings(lumox::TLumFormApp& Run, lumox::TLumNode* Scene,
                                        bool ModelOut);
// Makes Form, holding a scene loaded by LoadScene, a form and saves it to File: a view
// of render's default size with Camera (a default camera when nullptr) and a mouse
// controller. Throws lumox::Exception naming File when it cannot be written.
void SceneToForm(lumox::TComponent* Form, lumox::TLumCamera* Camera, const std::string& File);

// The demo's LUMGL document, compiled into the command.
const char* DemoSceneText();
// Loads the demo into Root and adds what a file cannot hold: the texture's bitmap and
// the callbacks of the function surface and the body of rotation.
void LoadDemoScene(lumox::TComponent* Owner, lumox::TLumNode* Root);

// Model files (models.cpp): whether a name is a model file the importer reads (or DXF);
// loading one into Root (throws lumox::Exception naming the file); whether a name is an
// export format; writing the meshes under Root, nodes kept.
bool IsModelPath(const std::string& File);
void LoadModelInto(const std::string& File, lumox::TComponent* Owner, lumox::TLumNode* Root,
                   TSceneLoad* Load);
// The folders besides a model's own that it may read (--resource-root, any command).
std::vector<std::string>& ResourceRoots();
// The memory in MB a model or drawing's reader may take (--import-memory, any command).
uint32_t& ImportMemoryMB();
bool IsModelOutput(const std::string& File);
void SaveModelFile(lumox::TLumNode* Root, const std::string& File);

}  // namespace lumoxcmd
