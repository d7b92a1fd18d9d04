// The lumox command's parts: the subcommands, scene loading and the built-in demo.
#pragma once

#include <string>
#include <vector>

namespace lumox {
class TComponent;
class TLumNode;
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
// The window (view.cpp), built with Qt.
int RunView(const TArgs& Args);
int Usage(bool Error);
// The usage of render and demo, on stdout; returns 0.
int RenderUsage();

// Prints "lumox: <message>" on stderr, naming File when the message does not, and
// returns ExitFailure.
int Fail(const std::string& File, const std::string& Message);
// Prints "lumox: <message>" and the usage hint on stderr, and returns ExitUsage.
int BadUsage(const std::string& Message);

// Loads a LUMGL file into Root (objects owned by Owner); throws lumox::Exception naming
// the file when it cannot be read or is not a LUMGL scene. Shows a progress bar on a
// terminal for large files. Returns the file's description.
std::string LoadScene(const std::string& File, lumox::TComponent* Owner, lumox::TLumNode* Root);

// The demo's LUMGL document, compiled into the command.
const char* DemoSceneText();
// Loads the demo into Root and adds what a file cannot hold: the texture's bitmap and
// the callbacks of the function surface and the body of rotation.
void LoadDemoScene(lumox::TComponent* Owner, lumox::TLumNode* Root);

}  // namespace lumoxcmd
