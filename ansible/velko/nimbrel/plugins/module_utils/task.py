"""How each module begins and ends."""

from ansible.module_utils.basic import AnsibleModule

from ansible_collections.velko.nimbrel.plugins.module_utils.tool import ToolError, find_tool


def run_task(work, **options):
    """Makes the module, has `work(module, tool)` return its result, and reports a ToolError as its failure."""
    module = AnsibleModule(supports_check_mode=True, **options)
    try:
        result = work(module, find_tool(module))
    except ToolError as error:
        module.fail_json(msg=error.message, **error.facts)
    module.exit_json(**result)
