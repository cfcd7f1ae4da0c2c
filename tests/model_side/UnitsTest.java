import static org.junit.Assert.assertEquals;
import static org.junit.Assert.assertFalse;
import static org.junit.Assert.assertNotNull;
import static org.junit.Assert.assertNull;
import static org.junit.Assert.assertTrue;

import com.zelvox.qorbetta.ZelvoxSim;
import java.io.ByteArrayOutputStream;
import java.io.File;
import java.io.IOException;
import java.io.InputStream;
import java.lang.ref.WeakReference;
import java.net.JarURLConnection;
import java.net.URL;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.nio.file.attribute.FileTime;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import java.util.Scanner;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import java.util.zip.CRC32;
import java.util.zip.ZipEntry;
import java.util.zip.ZipFile;
import java.util.zip.ZipOutputStream;
import org.junit.After;
import org.junit.Before;
import org.junit.Rule;
import org.junit.Test;
import org.junit.rules.TemporaryFolder;

/** What a unit brings along: the classes and resources that lie there when an instance begins. */
public class UnitsTest {
    /** The class loaders of the models that were made, which nothing here holds on to. */
    public static final List<WeakReference<ClassLoader>> loaders = new ArrayList<>();

    private static final String PROPERTIES = "model=Answer\njar.1=model.jar\njar.2=library.jar\n";

    @Rule public final TemporaryFolder folder = new TemporaryFolder();

    private final ZelvoxSim sim = ZelvoxSim.create();

    @Before
    @After
    public void nothingIsLeft() {
        Stream.of("a", "b", "c").forEach(sim::doFreeInstance);
        loaders.clear();
    }

    private interface Change {
        void make(Path unit) throws IOException;
    }

    /** The unit's class with another number in it. */
    private static byte[] type(String name, int number) throws IOException {
        try (ZipFile unit = new ZipFile(System.getProperty("unit"));
                InputStream in = unit.getInputStream(unit.getEntry(name + ".class"))) {
            return new Scanner(in, "ISO-8859-1").useDelimiter("\\A").next()
                    .replace("number 1", "number " + number).getBytes(StandardCharsets.ISO_8859_1);
        }
    }

    /** Writes a jar over what was there, with a time that never changes; names and contents in turn. */
    private static void jar(Path file, Object... entries) throws IOException {
        ByteArrayOutputStream bytes = new ByteArrayOutputStream();
        try (ZipOutputStream zip = new ZipOutputStream(bytes)) {
            zip.setComment("PK\5\6 begins the end of an archive, but not here");
            for (int i = 0; i < entries.length; i += 2) {
                byte[] content = entries[i + 1] instanceof byte[] ? (byte[]) entries[i + 1]
                        : entries[i + 1].toString().getBytes(StandardCharsets.UTF_8);
                ZipEntry entry = new ZipEntry(entries[i].toString());
                entry.setCreationTime(FileTime.fromMillis(0)); // longer before the content than at the end
                entry.setComment("of an entry");
                if (entry.getName().startsWith("stored")) {
                    CRC32 check = new CRC32();
                    check.update(content);
                    entry.setMethod(ZipEntry.STORED);
                    entry.setSize(content.length);
                    entry.setCrc(check.getValue());
                }
                zip.putNextEntry(entry);
                zip.write(content);
            }
        }
        write(file, bytes.toByteArray());
    }

    private static void write(Path file, byte[] content) throws IOException {
        Files.write(file, content);
        Files.setLastModifiedTime(file, FileTime.fromMillis(1_000_000_000_000L));
    }

    private static void properties(Path unit, String text) throws IOException {
        write(unit.resolve("model.properties"), text.getBytes());
    }

    private static Path unit(Path directory, int number) throws IOException {
        Files.createDirectories(directory);
        properties(directory, PROPERTIES);
        jar(directory.resolve("model.jar"), "Answer.class", type("Answer", number));
        jar(directory.resolve("library.jar"), "Other.class", type("Other", number), "number.txt", number);
        return directory;
    }

    private Path unit(int number) throws IOException {
        return unit(folder.newFolder().toPath().resolve("1+1"), number);
    }

    private static void begin(String name, Path unit) {
        Script.play("free " + name, "new " + name + " " + unit.toUri(), "setUp " + name + " 0", "init " + name);
    }

    private static void steps(String name, int... answers) {
        Script.play("step " + name + " 0 1 => = " + Arrays.stream(answers)
                .mapToObj(answer -> answer + ".0").collect(Collectors.joining(" ")));
    }

    private static ClassLoader loader() {
        return loaders.get(loaders.size() - 1).get();
    }

    @Test
    public void instancesShareTheClassesOfTheirUnitWithNobodyElse() throws IOException {
        Path one = unit(1);
        begin("a", one);
        begin("b", unit(2));
        begin("c", one);
        steps("a", 1, 1, 1, 2);
        steps("b", 2, 2, 2, 1);
        steps("c", 1, 1, 1, 2);
        begin("b", unit(1)); // the same, but at another place
        steps("b", 1, 1, 1, 1);
    }

    @Test
    public void jarsAreSearchedInTheirOrder() throws IOException {
        Path unit = unit(1);
        jar(unit.resolve("model.jar"), "Answer.class", type("Answer", 2), "number.txt", 3);
        begin("a", unit);
        steps("a", 2, 1, 3, 1);
        properties(unit, PROPERTIES.replace("jar.1", "jar.3"));
        Script.play("new b " + unit.toUri() + " => = NULL ! instance 'b': no model: there is no class Answer:"
                + " the unit names no jar");
        properties(unit, PROPERTIES.replace("Answer", "Missing"));
        Script.play("new b " + unit.toUri() + " => = NULL ! instance 'b': no model: there is no class Missing in"
                + " model.jar, library.jar");
        properties(unit, PROPERTIES.replace("model.jar", "x").replace("library", "model").replace("x", "library.jar"));
        begin("b", unit);
        steps("b", 2, 1, 1, 1);
    }

    @Test
    public void newInstanceGetsWhatLiesThereNowAndAnOldOneKeepsWhatItHad() throws IOException {
        Change[] changes = {
            unit -> unit(unit, 2),
            unit -> {
                for (File file : unit(2).toFile().listFiles()) {
                    Files.move(file.toPath(), unit.resolve(file.getName()), StandardCopyOption.REPLACE_EXISTING);
                }
            },
            unit -> {
                for (File file : unit.toFile().listFiles()) {
                    Files.delete(file.toPath());
                }
                Files.delete(unit);
                unit(unit, 2);
            },
        };
        for (Change change : changes) {
            for (boolean used : new boolean[] {false, true}) {
                nothingIsLeft();
                Path unit = unit(1);
                begin("a", unit);
                if (used) {
                    steps("a", 1, 1, 1, 1);
                    Script.play("setUp a 0", "init a");
                }
                change.make(unit);
                begin("b", unit);
                begin("c", unit);
                steps("b", 2, 2, 2, 2);
                steps("a", 1, 1, 1, used ? 2 : 1);
                Script.play("setUp a 0", "init a");
                steps("a", 1, 1, 1, used ? 3 : 2);
                sim.doFreeInstance("a");
                begin("a", unit);
                steps("a", 2, 2, 2, 3);
            }
        }
        Path unit = unit(1);
        begin("a", unit);
        jar(unit.resolve("library.jar"), "Other.class", type("Other", 1), "number.txt", 5);
        begin("b", unit);
        steps("b", 1, 1, 5, 1);
        steps("a", 1, 1, 1, 1);
        for (File file : unit.toFile().listFiles()) {
            Files.write(file.toPath(), new byte[0]);
        }
        Script.play("setUp a 0", "init a", "free c", "new c " + unit.toUri() + " => = NULL ! instance 'c': no model: "
                + unit + "/model.properties names no model, expected a line model=CLASS");
        steps("a", 1, 1, 1, 2);
    }

    @Test
    public void classesAreReleasedWithTheLastInstance() throws IOException {
        Path unit = unit(1);
        begin("a", unit);
        begin("b", unit);
        Script.play("setUp a 0", "init a", "free a");
        begin("a", unit);
        steps("b", 1, 1, 1, 4);
        Script.play("free a", "free b");
        begin("c", unit);
        steps("c", 1, 1, 1, 1);
        Script.play("free c");
        jar(unit.resolve("model.jar"), "Answer.class", type("Answer", 9));
        Script.play("new a " + unit.toUri() + " => = NULL ! instance 'a': the model cannot be described: nine");
        for (WeakReference<ClassLoader> loader : loaders) {
            for (int i = 0; i < 100 && loader.get() != null; i++) {
                System.gc();
            }
            assertNull(loader.get());
        }
        assertEquals(6, loaders.size());
    }

    @Test
    public void unitThatIsBrokenIsRefusedWithTheReason() throws IOException {
        refuses("library.jar is no readable jar: .*/library.jar \\(No such file or directory\\)",
                unit -> Files.delete(unit.resolve("library.jar")));
        refuses("library.jar is no readable jar: it is no zip archive, or a damaged one",
                unit -> write(unit.resolve("library.jar"), "no zip".getBytes()));
        refuses("model.jar is no readable jar: it is no zip archive, or a damaged one",
                unit -> write(unit.resolve("model.jar"),
                        Arrays.copyOf(Files.readAllBytes(unit.resolve("model.jar")), 900)));
        refuses("there is no class Answer \\(Answer.class is damaged, .*\\) in model.jar, library.jar", unit -> {
            byte[] jar = Files.readAllBytes(unit.resolve("model.jar"));
            jar[300] ^= 1;
            write(unit.resolve("model.jar"), jar);
        });
        refuses("there is no class Answer in model.jar, library.jar",
                unit -> jar(unit.resolve("model.jar"), "number.txt", 1));
        refuses("Other is no model, expected a class that implements com.zelvox.qorbetta.Model",
                unit -> properties(unit, PROPERTIES.replace("Answer", "Other")));
        refuses(".*/model.properties names no model, expected a line model=CLASS",
                unit -> properties(unit, "jar.1=model.jar"));
        refuses(".*/model.properties cannot be read: .*", unit -> properties(unit, "model=\\u1"));
    }

    private void refuses(String reason, Change change) throws IOException {
        Path unit = unit(1);
        change.make(unit);
        assertFalse(sim.doInstantiate("a", unit.toUri().toString()));
        assertTrue(sim.getLasterror(), sim.getLasterror().matches("instance 'a': no model: " + reason));
    }

    @Test
    public void fatJarMayHaveManyEntriesAndBringTheHostsClasses() throws IOException {
        List<Object> entries = new ArrayList<>(Arrays.asList("Answer.class", type("Answer", 1),
                "com/zelvox/qorbetta/Model.class", "another version", "number.txt", 1));
        for (int i = 0; i < 0x10000; i++) { // too many for the end of an archive as it was first defined
            entries.addAll(Arrays.asList("more/" + i, ""));
        }
        entries.addAll(Arrays.asList("Other.class", type("Other", 1)));
        Path unit = unit(2);
        jar(unit.resolve("model.jar"), entries.toArray());
        begin("a", unit);
        steps("a", 1, 1, 1, 1);
    }

    @Test
    public void resourcesAreThoseOfAnyJar() throws Exception {
        String odd = "stored/a b #1%20?ü.txt";
        Path unit = unit(1);
        jar(unit.resolve("library.jar"), "META-INF/MANIFEST.MF",
                "Manifest-Version: 1.0\nMulti-Release: true\n"
                + "Specification-Title: a\nSpecification-Version: b\nSpecification-Vendor: c\n"
                + "Implementation-Title: d\nImplementation-Version: e\nImplementation-Vendor: f\n\n",
                "parts/Part.class", type("parts/Part", 1),
                "number.txt", 1, "Other.class", type("Other", 1),
                "META-INF/versions/9/number.txt", 5, "META-INF/versions/9/Other.class", type("Other", 5),
                "META-INF/versions/1000/number.txt", 6, odd, "odd", "empty.txt", "");
        jar(unit.resolve("model.jar"), "Answer.class", type("Answer", 1), "empty.txt", "not");
        byte[] script = "#!/bin/sh\n".getBytes();
        byte[] jar = Files.readAllBytes(unit.resolve("model.jar"));
        byte[] both = Arrays.copyOf(script, script.length + jar.length);
        System.arraycopy(jar, 0, both, script.length, jar.length);
        write(unit.resolve("model.jar"), both); // a program and an archive in one
        begin("a", unit);
        boolean java8 = System.getProperty("java.specification.version").startsWith("1.");
        steps("a", 1, java8 ? 1 : 5, java8 ? 1 : 5, 1);

        URL url = loader().getResource(odd);
        assertEquals("jar:" + unit.resolve("library.jar").toFile().toURI() + "!/stored/a%20b%20%231%2520%3F\u00fc.txt", url.toString());
        for (URL same : new URL[] {url, new URL(url.toString())}) { // the second one is Java's own
            JarURLConnection connection = (JarURLConnection) same.openConnection();
            assertEquals("odd", new Scanner(connection.getInputStream()).next());
            assertEquals(odd, connection.getEntryName());
            assertNotNull(connection.getJarFile().getEntry(odd));
            connection.getJarFile().close();
        }
        List<String> found = new ArrayList<>();
        for (URL each : Collections.list(loader().getResources("empty.txt"))) {
            found.add(each.getPath().replaceAll(".*/(.*)!.*", "$1"));
        }
        assertEquals(Arrays.asList("model.jar", "library.jar"), found);
        assertNull(loader().getResource("nothing.txt"));
        Class<?> other = Class.forName("Other", false, loader());
        assertEquals(unit.resolve("library.jar").toUri().toURL(),
                other.getProtectionDomain().getCodeSource().getLocation());
        Package parts = Class.forName("parts.Part", false, loader()).getPackage();
        assertEquals("abcdef", parts.getSpecificationTitle() + parts.getSpecificationVersion()
                + parts.getSpecificationVendor() + parts.getImplementationTitle()
                + parts.getImplementationVersion() + parts.getImplementationVendor());
    }
}
