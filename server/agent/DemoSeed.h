#pragma once

class AgentHost;

// Seeds the server once with a demo for its owner: people, groups and direct
// chats with history, and agent sessions in several states (one at work with
// a queue, one idle with a large context, one building and deploying), with
// usage ahead of pace. A server seeded before is left as it is. Throws
// std::runtime_error when the owner is not configured or a write fails.
void seedDemo(AgentHost& host);
