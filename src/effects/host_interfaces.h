// What the host supplies to the module. The host implements the classes and fills the records; the module
// only calls them. Operations named Reserved are the host's own: the module never calls them, they keep the
// places.
#pragma once

#include <string>
#include <vector>

#include "platform/d3d9/d3d9.h"
#include "platform/types.h"

// The system's own headers make a macro of it.
#undef GetObject

namespace osm3d {

class DataObject;
class Effect;

/// One parameter of an effect, as the host's effect library declares it. The module reads `name` alone.
struct ControllerDefinition {
    struct Choice {
        std::string title;
        std::string value;
        u32 id = 0;
    };

    u32 id = 0;
    /// The parameter's name, by which a project's "controler" node is matched.
    std::string name;
    std::string description;
    std::vector<Choice> choices;
    u32 kind = 0;
};

/// One effect of the host's library. The module reads `name` and `children`.
struct EffectDefinition {
    u32 id = 0;
    /// The effect's type name, such as "fx_simple_color".
    std::string name;
    std::string description;
    u32 kind = 0;
    /// The parameters by position: parameter i of the effect is children[i].
    std::vector<ControllerDefinition> children;
};

/// A node of the host's project tree.
class HostNode {
  public:
    virtual void Reserved0() {}
    virtual const std::string& GetName() = 0;
    virtual u32 GetChildCount() = 0;
    virtual HostNode* GetChild(u32 index) = 0;
    virtual void Reserved1() {}
    virtual void Reserved2() {}
    virtual void Reserved3() {}
    virtual void Reserved4() {}
    /// Empty when there is no attribute of that name.
    virtual std::string GetAttribute(const std::string& name) = 0;

  protected:
    ~HostNode() = default;
};

/// What HostController::type says of the value.
enum HostControllerType : i32 {
    kHostString = 0,
    kHostFloat = 1,
    kHostInt = 2,
    /// An integer that is applied when a clip is loaded or refreshed, not per frame.
    kHostChoice = 3,
    kHostObject = 4,
};

/// The value of one parameter over the clip. Made by the HostControllerFactory, owned by the effect.
class HostController {
  public:
    /// One of HostControllerType; any other value is passed over.
    i32 type = -1;

    virtual void Reserved0() {}
    virtual ~HostController() = default;
    /// Works the value out for a time in which 0 is the clip's start and 1 its end. May lie outside, or be no
    /// number for a clip without length.
    virtual void Evaluate(f32 normalisedTime) = 0;
    /// True when the value does not change over the clip.
    virtual bool IsStatic() = 0;
    virtual void Reserved1() {}
    /// The value of a string parameter; `out` is storage that the host may use for it.
    virtual const std::string& GetString(std::string& out) = 0;
    virtual void Reserved2() {}
    virtual f32 GetFloat() = 0;
    virtual void Reserved3() {}
    virtual i32 GetInt() = 0;
    /// The value of an object parameter, a data object or null. Not handed over.
    virtual DataObject* GetObject() = 0;
    virtual void Reserved4() {}
    virtual void Reserved5() {}
    /// Restores the saved state. `context` is the word that the host gave to LoadState.
    virtual void Load(HostNode* node, void* context) = 0;
};

class HostControllerFactory {
  public:
    /// Both give an object that the caller owns.
    virtual HostController* CreateController(HostNode* node) = 0;
    virtual HostController* CreateController(const ControllerDefinition& definition) = 0;

  protected:
    ~HostControllerFactory() = default;
};

/// What the host learns through Accept.
class HostVisitor {
  public:
    virtual void VisitData(DataObject* data) = 0;
    virtual void VisitEffect(Effect* effect) = 0;

  protected:
    ~HostVisitor() = default;
};

/// The host's list of data objects.
class HostDataList {
  public:
    virtual void Reserved0() {}
    virtual void Reserved1() {}
    virtual void Reserved2() {}
    virtual void Reserved3() {}
    virtual u32 GetCount() = 0;
    virtual DataObject* GetItem(u32 index) = 0;

  protected:
    ~HostDataList() = default;
};

/// The host's project.
class HostDocument {
  public:
    virtual void Reserved0() {}
    virtual void Reserved1() {}
    virtual void Reserved2() {}
    virtual void Reserved3() {}
    virtual void Reserved4() {}
    virtual void Reserved5() {}
    virtual void Reserved6() {}
    virtual void Reserved7() {}
    virtual void Reserved8() {}
    virtual void Reserved9() {}
    virtual void Reserved10() {}
    virtual void Reserved11() {}
    virtual void Reserved12() {}
    virtual void Reserved13() {}
    virtual HostDataList* GetDataList() = 0;
    virtual void Reserved14() {}
    virtual void Reserved15() {}
    virtual void Reserved16() {}
    virtual std::string GetProjectText() = 0;

  protected:
    ~HostDocument() = default;
};

}  // namespace osm3d
