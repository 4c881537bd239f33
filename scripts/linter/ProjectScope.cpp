// SPDX-License-Identifier: MIT
// A clang-tidy plug-in that limits its matchers to the declarations of the project.
//
// Without it clang-tidy 14 runs every matcher over the declarations of all included system headers
// as well, and then drops what it finds there. That takes most of its time. Loaded with --load, it
// becomes active in each translation unit.
#include <clang/AST/ASTConsumer.h>
#include <clang/AST/ASTContext.h>
#include <clang/AST/DeclGroup.h>
#include <clang/Basic/SourceManager.h>
#include <clang/Frontend/CompilerInstance.h>
#include <clang/Frontend/FrontendPluginRegistry.h>

#include <memory>
#include <string>
#include <vector>

namespace {

class ProjectScope final : public clang::ASTConsumer {
  public:
    bool HandleTopLevelDecl(clang::DeclGroupRef group) override {
        for (clang::Decl* const declaration : group) {
            const auto& sources = declaration->getASTContext().getSourceManager();
            if (!sources.isInSystemHeader(sources.getExpansionLoc(declaration->getLocation()))) {
                declarations_.push_back(declaration);
            }
        }
        return true;
    }

    void HandleTranslationUnit(clang::ASTContext& context) override {
        context.setTraversalScope(declarations_);
    }

  private:
    std::vector<clang::Decl*> declarations_;
};

class ProjectScopeAction final : public clang::PluginASTAction {
  public:
    std::unique_ptr<clang::ASTConsumer> CreateASTConsumer(clang::CompilerInstance& /*compiler*/,
                                                          llvm::StringRef /*file*/) override {
        return std::make_unique<ProjectScope>();
    }
    bool ParseArgs(const clang::CompilerInstance& /*compiler*/,
                   const std::vector<std::string>& /*arguments*/) override {
        return true;
    }
    // Before clang-tidy's own consumers, which read the scope.
    ActionType getActionType() override { return AddBeforeMainAction; }
};

const clang::FrontendPluginRegistry::Add<ProjectScopeAction>
    registration("project-scope", "Limits matchers to the declarations of the project");

} // namespace
