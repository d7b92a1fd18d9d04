// Package services: product and version texts, the about text, the component palette
// (page -> classes in order) and a plain-text diagnostics report of a view.
#pragma once

#include <string>
#include <vector>

namespace lumox {

class TLumNode;
class TLumView;

// The library's version, "major.minor.patch".
const char* LumoxVersion();
// The product name written into scene files and shown by tools; begins with "Lumox".
const char* LumoxProductName();
// A few lines about the library: product, version, what it does.
std::string LumoxAboutText();

// One page of the component palette: its classes in registration order.
struct TLumPalettePage {
  std::string Name;
  std::vector<std::string> Classes;
};

// Adds classes to a palette page (created at the end when new); a class already on the
// page is not added twice. The library's own pages "Lumox" and "Lumox Obj" come first.
void RegisterComponents(const std::string& Page, const std::vector<std::string>& Classes);
// Every page in registration order.
const std::vector<TLumPalettePage>& GetPalettePages();
// The classes of one page (case-sensitive name); empty for an unknown page.
std::vector<std::string> GetPaletteClasses(const std::string& Page);

// Plain-text diagnostics of a view: library version; GL vendor, renderer, version and
// extension count; colour, depth and stencil bits; and, when Scene is given, its objects
// counted by class, the vertices, triangles, lines and points of its enabled geometry
// (of every class; meshes that are not built yet are built here) and its world bounds.
// The view's context is created when it has none.
std::string LumDiagnosticsReport(TLumView* View, TLumNode* Scene = nullptr);

}  // namespace lumox
