import unittest

from nexargen import naming


class CaseConversionTest(unittest.TestCase):
    def test_camel(self):
        for snake, expected in [
            ("vt_containers", "VtContainers"),
            ("privilege_checks", "PrivilegeChecks"),
            ("cdrom", "Cdrom"),
            ("size_MiB", "SizeMiB"),
            ("ipv4_address", "Ipv4Address"),
        ]:
            self.assertEqual(naming.camel(snake), expected, snake)

    def test_lower_camel_keeps_the_capitals_the_wire_kept(self):
        for snake, expected in [
            ("type", "type"),
            ("start_connected", "startConnected"),
            ("size_MiB", "sizeMiB"),
            ("hot_add_increment_size_MiB", "hotAddIncrementSizeMiB"),
            ("pci_slot_number", "pciSlotNumber"),
        ]:
            self.assertEqual(naming.lower_camel(snake), expected, snake)

    def test_snake_splits_acronyms_as_one_word(self):
        for camel, expected in [
            ("CreateSpec", "create_spec"),
            ("Info", "info"),
            ("DynamicID", "dynamic_id"),
            ("ID", "id"),
            ("VMSummary", "vm_summary"),
            ("SCSIAddressInfo", "scsi_address_info"),
            ("Ipv4Address", "ipv4_address"),
        ]:
            self.assertEqual(naming.snake(camel), expected, camel)

    def test_snake_undoes_camel_for_lower_case_names(self):
        # Structure wire names are snake(Name) while service classes are camel(id part); both
        # directions must agree or the two names of one thing drift apart.
        for name in ["vt_containers", "privilege_checks", "backing_info", "ide_address_spec", "ipv4_address"]:
            self.assertEqual(naming.snake(naming.camel(name)), name)


class NamePatternTest(unittest.TestCase):
    def test_field_names(self):
        for good in ["type", "size_MiB", "hot_add_limit_MiB", "ipv4_address"]:
            self.assertTrue(naming.is_field_name(good), good)
        for bad in ["Type", "_type", "type_", "a__b", "size-mib", "startConnected", "1st", ""]:
            self.assertFalse(naming.is_field_name(bad), bad)

    def test_type_names_and_enum_values(self):
        self.assertTrue(naming.is_type_name("DynamicID"))
        self.assertFalse(naming.is_type_name("dynamic_id"))
        self.assertFalse(naming.is_type_name("Backing_Info"))
        self.assertTrue(naming.is_enum_value("PASSTHRU_EXCLUSIVE"))
        self.assertTrue(naming.is_enum_value("IPV4"))
        for bad in ["_UNKNOWN", "Iso_File", "ISO__FILE", "ISO_", "4K"]:
            self.assertFalse(naming.is_enum_value(bad), bad)


class ServicePathTest(unittest.TestCase):
    CASES = [
        # id, class path below its root's namespace, file and header path below its library's root
        ("com.quarn.nexar.vm.hardware.cdrom", ["Vm", "Hardware", "CdromSvc"], "vm/hardware/cdrom"),
        ("com.quarn.nexar.vm", ["VmSvc"], "vm"),
        ("com.quarn.nexar.authorization.privilege_checks.latest",
         ["Authorization", "PrivilegeChecks", "LatestSvc"], "authorization/privilege_checks/latest"),
        ("com.quarn.nexar.authorization.vt_containers.mappings",
         ["Authorization", "VtContainers", "MappingsSvc"], "authorization/vt_containers/mappings"),
        ("com.quarn.nexar.storage.policies.VM", ["Storage", "Policies", "VmSvc"], "storage/policies/vm"),
        ("com.quarn.nexar.tags.vm", ["Tags", "VmSvc"], "tags/vm"),
        ("com.quarn.cis.session", ["SessionSvc"], "session"),
    ]

    def test_class_path(self):
        for service_id, class_path, _ in self.CASES:
            self.assertEqual(naming.service_class_path(service_id), class_path, service_id)

    def test_relative_path(self):
        for service_id, _, path in self.CASES:
            self.assertEqual(naming.service_relative_path(service_id), path, service_id)

    def test_header_path_follows_from_the_class(self):
        # Users find a header from the class alone: namespaces and class (without Svc) in snake_case.
        for service_id, _, path in self.CASES:
            *namespaces, cls = naming.service_class_path(service_id)
            from_class = "/".join([naming.snake(n) for n in namespaces] + [naming.snake(cls[: -len("Svc")])])
            self.assertEqual(from_class, naming.service_relative_path(service_id), service_id)

    def test_framework_services_live_below_their_own_root(self):
        self.assertEqual(naming.service_namespace("com.quarn.cis.tasks"), ["Com", "Quarn", "Cis"])
        self.assertEqual(naming.service_class_path("com.quarn.cis.tasks"), ["TasksSvc"])
        self.assertEqual(naming.service_relative_path("com.quarn.cis.tasks"), "tasks")
        self.assertEqual(naming.service_namespace("com.quarn.nexar.vm.hardware.cdrom"), ["Com", "Quarn", "Nexar"])

    def test_ids_outside_the_catalogue_have_no_class(self):
        for service_id in ["com.quarn.opax.std.errors", "com.quarn.nexarx.vm", "com.quarn.nexar", "com.quarn.cis",
                           "com.quarn.cisx.tasks", "com.quarn.cisx.session"]:
            with self.assertRaises(ValueError, msg=service_id):
                naming.service_class_path(service_id)

    def test_only_a_final_upper_case_vm_breaks_the_rule_legally(self):
        self.assertEqual(naming.id_breaks_rule("com.quarn.nexar.storage.policies.VM"), [])
        self.assertEqual(naming.id_breaks_rule("com.quarn.nexar.tags.vm"), [])
        self.assertEqual(naming.id_breaks_rule("com.quarn.nexar.VM.disks"), ["VM"])
        self.assertEqual(naming.id_breaks_rule("com.quarn.nexar.vm.hardware.Cdrom"), ["Cdrom"])
        self.assertEqual(naming.id_breaks_rule("com.quarn.nexar.Vm"), ["Vm"])
        self.assertEqual(naming.id_breaks_rule("com.quarn.nexar.vt__containers"), ["vt__containers"])


class DottedNameTest(unittest.TestCase):
    def test_canonical_struct_names(self):
        self.assertEqual(naming.canonical_struct_name("com.quarn.nexar.authorization.roles", "CreateSpec"),
                         "com.quarn.nexar.authorization.roles.create_spec")
        self.assertEqual(naming.canonical_struct_name("com.quarn.opax.std", "DynamicID"),
                         "com.quarn.opax.std.dynamic_id")
        self.assertEqual(naming.canonical_struct_name("com.quarn.nexar.vm.hardware.cdrom", "Info", "backing"),
                         "com.quarn.nexar.vm.hardware.cdrom.backing")

    def test_package_namespace(self):
        self.assertEqual(naming.package_namespace("com.quarn.nexar.vm.hardware"),
                         ["Com", "Quarn", "Nexar", "Vm", "Hardware"])
        self.assertEqual(naming.package_namespace("com.quarn.opax.std.errors"),
                         ["Com", "Quarn", "Opax", "Std", "Errors"])

    def test_definition_names(self):
        # Metadata records a service's structures under its interface's name, a package's under the package.
        for args, expected in [
            (("com.quarn.nexar.authorization.vt_containers.mappings", "Info", True),
             "com.quarn.nexar.authorization.vt_containers.Mappings.Info"),
            (("com.quarn.nexar.storage.policies.VM", "Info", True), "com.quarn.nexar.storage.policies.Vm.Info"),
            (("com.quarn.nexar.vm", "Info", True, "VirtualMachine"), "com.quarn.nexar.VirtualMachine.Info"),
            (("com.quarn.nexar", "Credential"), "com.quarn.nexar.Credential"),
        ]:
            self.assertEqual(naming.definition_name(*args), expected, args)


class GeneratedNameTest(unittest.TestCase):
    # Code written against the bindings (the simulator, the examples, their tests) spells these
    # names, and a member that took its accessor's name would not compile: a changed rule breaks it.
    CASES = [
        (naming.accessor, ("size_MiB",), "sizeMiB"),
        (naming.member, ("size_MiB",), "sizeMiB_"),
        (naming.enumerations_class, ("Credential",), "CredentialEnumerations"),
        (naming.annotations_class, ("Credential",), "CredentialAnnotations"),
        (naming.union_cases_class, ("username_password",), "UsernamePasswordUnionCases"),
        (naming.operation_method, ("set_faults",), "SetFaults"),
        (naming.method_class, ("set_faults",), "SetFaultsMethod"),
        (naming.header, ("bindings", "vm/hardware/cdrom"), "bindings/vm/hardware/cdrom.h"),
    ]

    def test_names(self):
        for rule, args, expected in self.CASES:
            self.assertEqual(rule(*args), expected, (rule.__name__, args))

    def test_tag_enumerators(self):
        for text, expected in [("type", "TYPE"), ("backing_type", "BACKING_TYPE"), ("ipv4_address", "IPV4_ADDRESS")]:
            self.assertEqual(naming.upper_snake(text), expected, text)

    def test_reserved_parameters(self):
        # A keyword with an underscore is no clash: the parameter is its lowerCamelCase form.
        for name, reserved in [("new", True), ("class", True), ("activation", True), ("result", True),
                               ("and_eq", False), ("results", False), ("type", False)]:
            self.assertEqual(naming.is_reserved_parameter(name), reserved, name)


if __name__ == "__main__":
    unittest.main()
