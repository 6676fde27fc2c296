#include "effects/timeline_base.h"

#include "render/context.h"
#include "trace/tracer.h"

namespace osm3d {

namespace {

const std::string kControllerNode = "controler";
const std::string kNameAttribute = "name";

}  // namespace

// A plain clip has no times until the host sets them; zeros spare a reader the undefined.
TimelineBase::TimelineBase() : start(0), length(0) {}

TimelineBase::TimelineBase(const EffectDefinition& effect, const std::string& clipName,
                           HostControllerFactory* factory)
    : definition(effect), instanceName(clipName), start(0), length(0) {
    controllers.reserve(definition.children.size());
    for (const ControllerDefinition& child : definition.children) {
        controllers.push_back(factory->CreateController(child));
    }
}

TimelineBase::~TimelineBase() {
    for (HostController* controller : controllers) {
        delete controller;
    }
}

void TimelineBase::Refresh() { ApplyAll(); }

void TimelineBase::ApplyAll() {
    for (u32 i = 0; i < controllers.size(); ++i) {
        Deliver(i, true);
    }
}

void TimelineBase::Update(u32, f32 time) {
    const f32 t = (time - start) / length;
    for (u32 i = 0; i < controllers.size(); ++i) {
        if (!controllers[i]->IsStatic()) {
            controllers[i]->Evaluate(t);
            Deliver(i, false);
        }
    }
}

void TimelineBase::Deliver(u32 index, bool withChoices) {
    HostController& controller = *controllers[index];
    switch (controller.type) {
        case kHostString: {
            std::string storage;
            OnStringChanged(index, controller.GetString(storage));
            break;
        }
        case kHostFloat:
            OnFloatChanged(index, controller.GetFloat());
            break;
        case kHostInt:
            OnIntChanged(index, controller.GetInt());
            break;
        case kHostChoice:
            if (withChoices) {
                OnIntChanged(index, controller.GetInt());
            }
            break;
        case kHostObject:
            OnObjectChanged(index, controller.GetObject());
            break;
        default:
            break;
    }
}

void TimelineBase::ClearTarget() {
    if (Context* context = GetContext()) {
        context->Clear(Context::kClearColor | Context::kClearDepth | Context::kClearStencil, true);
    }
}

u32 TimelineBase::GetControllerCount() { return static_cast<u32>(controllers.size()); }
HostController* TimelineBase::GetController(u32 index) { return controllers[index]; }
std::string& TimelineBase::GetInstanceName() { return instanceName; }
void TimelineBase::SetInstanceName(const std::string& name) { instanceName = name; }
EffectDefinition& TimelineBase::GetDefinition() { return definition; }

void TimelineBase::OnFloatChanged(u32, f32) {}
void TimelineBase::OnIntChanged(u32, i32) {}
void TimelineBase::OnStringChanged(u32, const std::string&) {}
void TimelineBase::OnObjectChanged(u32, DataObject*) {}

void TimelineBase::Release() { delete this; }

bool TimelineBase::LoadState(HostNode* node, void* context) {
    for (u32 i = 0; i < node->GetChildCount(); ++i) {
        HostNode* child = node->GetChild(i);
        if (child->GetName() != kControllerNode) {
            trace::Box("Unknown category : \"%s\", in TimelineBase.", child->GetName().c_str());
            continue;
        }
        const std::string name = child->GetAttribute(kNameAttribute);
        if (HostController* controller = FindController(name)) {
            controller->Load(child, context);
        } else {
            trace::Box("Controller named : \"%s\", no more exists.", name.c_str());
        }
    }
    Refresh();
    return true;
}

bool TimelineBase::LoadControllers(HostNode* node, void* context, HostControllerFactory* factory) {
    for (u32 i = 0; i < node->GetChildCount(); ++i) {
        HostNode* child = node->GetChild(i);
        if (child->GetName() != kControllerNode) {
            continue;
        }
        HostController* controller = factory->CreateController(child);
        ControllerDefinition parameter;
        parameter.name = child->GetAttribute(kNameAttribute);
        definition.children.push_back(std::move(parameter));
        controllers.push_back(controller);
    }
    return LoadState(node, context);
}

f32 TimelineBase::GetStart() { return start; }
void TimelineBase::SetStart(f32 time) { start = time; }
f32 TimelineBase::GetLength() { return length; }
void TimelineBase::SetLength(f32 time) { length = time; }

HostController* TimelineBase::FindController(const std::string& name) {
    for (std::size_t i = 0; i < definition.children.size() && i < controllers.size(); ++i) {
        if (definition.children[i].name == name) {
            return controllers[i];
        }
    }
    return nullptr;
}

}  // namespace osm3d
