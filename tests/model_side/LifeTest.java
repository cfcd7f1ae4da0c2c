import static org.junit.Assert.assertEquals;
import static org.junit.Assert.assertFalse;
import static org.junit.Assert.assertNull;
import static org.junit.Assert.assertThrows;
import static org.junit.Assert.assertTrue;

import com.zelvox.qorbetta.ZelvoxSim;
import java.util.concurrent.Callable;
import java.util.stream.Stream;
import org.junit.After;
import org.junit.Before;
import org.junit.Test;

/** What a model may rely on in its life, and what its importer is told when something goes wrong. */
public class LifeTest {
    private static final String NEW = "new a => 1 describe; 1 set gain 2.0; 1 set mode 1.0";
    private static final String SET_UP = "setUp a 0 => 1 setUp 0.0 NaN";
    private static final String INIT = "init a => 1 initialize [3.0, -1.0] [0.5, 0.25]";
    private static final String STEP =
            "step a 0 1 => 1 step 0.0 1.0 [3.0, -1.0] [6.0, 0.25] = 7.0 0.25";
    private static final String RESET = "setUp a 0 => " + reset(2);
    private static final String GAIN = "instance 'a': parameter gain [V] cannot be ";
    private static final String TWINS = " (do two instances share this name?)";
    private static final String NAMESAKE = " = NULL ! there is an instance 'a' already that has not"
            + " begun: give each instance a name of its own";

    private final ZelvoxSim sim = ZelvoxSim.create();

    /** What a new run begins with: a new object, which takes the parameters before the old one goes. */
    private static String reset(int number) {
        return number + " set gain 2.0; " + number + " set mode 1.0; " + (number - 1) + " free; "
                + number + " setUp 0.0 NaN";
    }

    private static String[] lines(Object... parts) {
        return Stream.of(parts).flatMap(part -> part instanceof String[] ? Stream.of((String[]) part)
                : Stream.of((String) part)).toArray(String[]::new);
    }

    @Before
    @After
    public void nothingIsLeft() {
        Recorder.forget();
        Stream.of("a", "b").forEach(sim::doFreeInstance);
        Recorder.forget();
    }

    @Test
    public void callsComeOnceInOrderAndWithTheirArguments() {
        Script.play(
                NEW,
                "data a => = 0.5 0.25 0.5 0.25 3.0 -1.0 2.0 1.0",
                "setUp a 1 9 => 1 setUp 1.0 9.0",
                "init a => 1 initialize [3.0, -1.0] [0.5, 0.25]",
                "data a => = 6.0 0.25 6.0 0.25 3.0 -1.0 2.0 1.0",
                "step a 1 0.5 => 1 step 1.0 0.5 [3.0, -1.0] [6.0, 0.25] = 7.5 0.25",
                "step a 1.5 2 => 1 step 1.5 2.0 [3.0, -1.0] [7.5, 0.25] = 9.5 0.25",
                "data a => = 9.5 0.25",
                "end a => 1 terminate",
                "end a",
                "data a => = 9.5 0.25",
                "free a => 1 free",
                "free a");
    }

    @Test
    public void experimentMayBeSetUpAgainOrNotAtAll() {
        Script.play(
                NEW, SET_UP,
                "setUp a -2 3 => 1 setUp -2.0 3.0",
                INIT,
                "step a -2 1 => 1 step -2.0 1.0 [3.0, -1.0] [6.0, 0.25] = 5.0 0.25",
                "free a => 1 free",
                "new b => 2 describe; 2 set gain 2.0; 2 set mode 1.0",
                "end b",
                "init b => 2 setUp 0.0 NaN; 2 initialize [3.0, -1.0] [0.5, 0.25]",
                "step b 0 1 => 2 step 0.0 1.0 [3.0, -1.0] [6.0, 0.25] = 7.0 0.25");
    }

    @Test
    public void valuesGoToTheModelWhenTheyAreSet() {
        Script.play(
                NEW,
                "set a 4 4.5",
                "set a 6 4 => 1 set gain 4.0",
                "set a 1 9",
                "set a 2 9",
                "data a => = 0.5 0.25 0.5 0.25 4.5 -1.0 4.0 1.0",
                SET_UP,
                "set a 7 3 => 1 set mode 3.0",
                "init a => 1 initialize [4.5, -1.0] [0.5, 0.25]",
                "set a 5 8",
                "set a 6 1 => 1 set gain 1.0",
                "data a => = 18.0 0.25 18.0 0.25 4.5 8.0 1.0 3.0",
                "step a 0 1 => 1 step 0.0 1.0 [4.5, 8.0] [18.0, 0.25] = 5.5 0.25",
                "set a 6 10 => 1 set gain 10.0",
                "step a 1 1 => 1 step 1.0 1.0 [4.5, 8.0] [5.5, 0.25] = 47.0 0.25",
                "end a => 1 terminate",
                "set a 6 3");
    }

    @Test
    public void newRunHasNewModelAndStartValuesButForWhatWasSetSinceTheLastCall() {
        String[] first = {NEW, SET_UP, "set a 4 4", "set a 6 4 => 1 set gain 4.0",
            "init a => 1 initialize [4.0, -1.0] [0.5, 0.25]"};
        String step = "step a 0 1 => 1 step 0.0 1.0 [4.0, -1.0] [16.0, 0.25] = 17.0 0.25";
        String gain = "set a 6 5 => 1 set gain 5.0";
        String end = "end a => 1 terminate";
        String[] second = {RESET, "data a => = 0.5 0.25 0.5 0.25 3.0 -1.0 2.0 1.0",
            INIT.replace("1 init", "2 init"), STEP.replace("1 step", "2 step")};
        Object[][] runs = {
            {first, second},
            {first, gain, step.replace("17.0", "21.0"), second},
            {first, step, gain, end, second},
            {first, step, gain, "fail step no", "step a 1 1 => 1 step 1.0 1.0 [4.0, -1.0] [17.0, 0.25]"
                + " = error ! instance 'a': the model cannot step from time 1.0 by 1.0: no",
                "fail step", second},
            {first, step, end, "set a 4 1", "set a 7 6",
                RESET.replace("mode 1.0", "mode 6.0"),
                "data a => = 0.5 0.25 0.5 0.25 1.0 -1.0 2.0 6.0",
                "init a => 2 initialize [1.0, -1.0] [0.5, 0.25]",
                "set a 6 3 => 2 set gain 3.0",
                "setUp a 0 => " + reset(3).replace("gain 2.0", "gain 3.0"),
                "free a => 3 free"},
        };
        for (Object[] run : runs) {
            nothingIsLeft();
            Script.play(lines(run));
        }
    }

    @Test
    public void refusedParameterFailsTheNextInitializationOrStepOnce() {
        Script.play(
                NEW,
                "set a 6 1 => 1 set gain 1.0",
                "set a 6 10 => 1 set gain 10.0",
                "set a 4 99",
                "set a 6 10.1",
                "set a 6 0.9",
                SET_UP,
                "init a => = error ! " + GAIN + "10.1, expected 1.0 to 10.0",
                "step a 0 1 => = error ! instance 'a': step at time 0.0 before the initialization,"
                        + " expected the initialization first" + TWINS,
                RESET,
                "set a 6 0.9",
                "init a => = error ! " + GAIN + "0.9, expected 1.0 to 10.0",
                "setUp a 0 => " + reset(3),
                "set a 6 7 => 3 set gain 7.0",
                "init a => = error ! " + GAIN + "7.0: seven is taken",
                "setUp a 0 => " + reset(4),
                "set a 6 NaN",
                "init a => = error ! " + GAIN + "NaN, expected 1.0 to 10.0",
                "setUp a 0 => " + reset(5),
                "set a 8 1",
                "init a => = error ! instance 'a': there is no value reference 8, expected one below 8",
                "setUp a 0 => " + reset(6),
                "set a -1 1",
                "init a => = error ! instance 'a': there is no value reference 4294967295,"
                        + " expected one below 8");
        nothingIsLeft();
        Script.play(
                NEW, SET_UP, INIT,
                "set a 6 11",
                "step a 0 1 => = error ! " + GAIN + "11.0, expected 1.0 to 10.0",
                "step a 0 1 => = error ! instance 'a': step at time 0.0 after the end of the run,"
                        + " expected a reset before" + TWINS,
                "end a",
                RESET, INIT.replace("1 init", "2 init"),
                "set a 6 11",
                "set a 6 5 => 2 set gain 5.0",
                "setUp a 0 => " + reset(3).replace("gain 2.0", "gain 5.0"),
                "init a => 3 initialize [3.0, -1.0] [0.5, 0.25]",
                "set a 6 11",
                "setUp a 0 => 4 set mode 1.0; 3 free; 4 setUp 0.0 NaN",
                "init a => = error ! " + GAIN + "11.0, expected 1.0 to 10.0");
    }

    @Test
    public void failureSaysWhatWhenAndWhyAndTheRunIsOver() {
        String over = " after the end of the run, expected a reset before" + TWINS;
        Script.play(
                "fail describe who am I",
                "new a => 1 describe; 1 free = NULL ! instance 'a': the model cannot be described: who am I",
                "fail describe",
                "fail set no",
                "new a => 2 describe; 2 set gain 2.0; 2 set mode 1.0; 2 free = NULL ! " + GAIN + "2.0: no",
                "fail set",
                NEW.replace("1 ", "3 "),
                "fail setUp too long",
                "setUp a 5 => 3 setUp 5.0 NaN = error ! instance 'a': the model cannot be set up at"
                        + " time 5.0: too long",
                "fail setUp",
                "fail initialize no steam",
                "setUp a 5 => " + reset(4).replace("0.0", "5.0"),
                "init a => 4 initialize [3.0, -1.0] [0.5, 0.25] = error ! instance 'a': the model"
                        + " cannot be initialized at time 5.0: no steam",
                "end a",
                "fail initialize",
                "init a => " + reset(5).replace("0.0", "5.0") + "; 5 initialize [3.0, -1.0] [0.5, 0.25]",
                "fail make not twice",
                "setUp a 0 => = error ! instance 'a': the model cannot be constructed: not twice",
                "fail make",
                "fail free stuck",
                "setUp a 0 => " + reset(6), // nobody waits for the old one
                "init a => 6 initialize [3.0, -1.0] [0.5, 0.25]",
                "fail step broken",
                "step a 0 1 => 6 step 0.0 1.0 [3.0, -1.0] [6.0, 0.25] = error ! instance 'a': the"
                        + " model cannot step from time 0.0 by 1.0: broken",
                "fail step",
                "step a 0 1 => = error ! instance 'a': step at time 0.0" + over,
                "end a",
                "setUp a 0 => " + reset(7),
                "init a => 7 initialize [3.0, -1.0] [0.5, 0.25]",
                "step a 0 1 => 7 step 0.0 1.0 [3.0, -1.0] [6.0, 0.25] = 7.0 0.25",
                "fail terminate not now",
                "end a => 7 terminate ! instance 'a': the model cannot be terminated at time 1.0: not now",
                "step a 1 1 => = error ! instance 'a': step at time 1.0" + over,
                "free a => 7 free ! instance 'a': the model cannot be freed: stuck",
                "free a");
        Recorder.happenings.put("no description", () -> null);
        Script.play("new a => 8 describe; 8 free = NULL ! instance 'a': the model cannot be described: it"
                + " answers null, expected a description");
    }

    @Test
    public void reasonIsTheMessageOrTellsMoreWhereThatSaysLittle() {
        reason("no oil", () -> { throw new IllegalStateException("no oil"); });
        reason("no oil", () -> { throw new IllegalArgumentException("no oil"); });
        reason("Java heap space", () -> { throw new OutOfMemoryError("Java heap space"); });
        reason("java.lang.Exception at LifeTest\\..*", () -> { throw new Exception(); });
        reason("java.lang.ArrayIndexOutOfBoundsException: .*3.* at LifeTest\\..*LifeTest.java:\\d+\\)",
                () -> "".split(",")[3]);
        reason("java.lang.NoClassDefFoundError: a/B", () -> { throw new NoClassDefFoundError("a/B"); });
        reason("java.lang.ExceptionInInitializerError: no table",
                () -> { throw new ExceptionInInitializerError(new Exception("no table")); });
    }

    private void reason(String expected, Callable<?> happening) {
        nothingIsLeft();
        Script.play(NEW, SET_UP);
        Recorder.happenings.put("initialize", happening);
        assertFalse(sim.doInitializeModel("a"));
        assertTrue(sim.getLasterror(), sim.getLasterror().matches(
                "instance 'a': the model cannot be initialized at time 0\\.0: " + expected));
    }

    @Test
    public void callsOutOfOrderAreRefusedAndTheRunGoesOn() {
        String size = " at time 1.0, expected a finite one above 0";
        Script.play(
                NEW, SET_UP,
                "step a 0 1 => = error ! instance 'a': step at time 0.0 before the initialization,"
                        + " expected the initialization first" + TWINS,
                INIT,
                "init a => = error ! instance 'a': initialized a second time, expected a reset and an"
                        + " experiment setup before" + TWINS,
                "step a 1 1 => = error ! instance 'a': step at time 1.0, expected one at time 0.0,"
                        + " where the run starts" + TWINS,
                STEP,
                "step a 0 1 => = error ! instance 'a': step at time 0.0, expected one at time 1.0,"
                        + " where the last step ended" + TWINS,
                "step a 1 0 => = error ! instance 'a': step size 0.0" + size,
                "step a 1 -1 => = error ! instance 'a': step size -1.0" + size,
                "step a 1 NaN => = error ! instance 'a': step size NaN" + size,
                "step a 1 Infinity => = error ! instance 'a': step size Infinity" + size);
        assertFalse(sim.doStepModel("a", 1, 1, new double[3]));
        assertEquals("instance 'a': step at time 1.0 with 3 inputs, expected 2: [u, v]", sim.getLasterror());
        assertTrue(sim.doStepModel("a", 1, 1, new double[2]));
    }

    @Test
    public void stepContinuesWhereTheLastOneEndedButForRounding() {
        double[][] steps = { // where the run starts, the size of its steps, how far off the next one is
            {0, 0.1, 0.99e-7}, {0, 0.1, -0.99e-7}, {0, 1e6, 0.99}, {1.7e9, 1e-3, 9.5e-7}, {1.7e9, 1e-3, -9.5e-7},
        };
        for (double[] step : steps) {
            for (double factor : new double[] {1, 1.3, -1.3, Double.NaN, Double.POSITIVE_INFINITY}) {
                nothingIsLeft();
                assertTrue(sim.doInstantiate("a", "") && sim.doSetupExperiment("a", step[0], false, 0)
                        && sim.doInitializeModel("a"));
                assertTrue(sim.doStepModel("a", step[0], step[1], new double[2]));
                double time = step[0] + step[1] + factor * step[2];
                assertEquals(time + " after " + step[0], factor == 1,
                        sim.doStepModel("a", time, step[1], new double[2]));
            }
        }
    }

    @Test
    public void stepsOfAMillisecondGoOnAtATimeOfToday() {
        Script.play(NEW, "setUp a 1.7e9 => 1 setUp 1.7E9 NaN", INIT);
        for (int i = 0; i < 300_000; i++) {
            Recorder.calls.clear();
            assertTrue(sim.getLasterror(), sim.doStepModel("a", 1.7e9 + i * 1e-3, 1e-3, new double[2]));
        }
    }

    @Test
    public void nameIsTakenOverFromAnInstanceThatHasBegunOnly() {
        Script.play(
                NEW,
                "new a =>" + NAMESAKE,
                "init a => 1 setUp 0.0 NaN; 1 initialize [3.0, -1.0] [0.5, 0.25]",
                STEP,
                "fail describe no",
                "new a => 2 describe; 2 free = NULL ! instance 'a': the model cannot be described: no",
                "fail describe",
                "step a 1 1 => 1 step 1.0 1.0 [3.0, -1.0] [7.0, 0.25] = 8.0 0.25",
                "fail free stuck",
                "new a => 3 describe; 3 set gain 2.0; 3 set mode 1.0; 1 free"
                        + " ! instance 'a': the model cannot be freed: stuck",
                "fail free",
                "new a =>" + NAMESAKE,
                "setUp a 0 => 3 setUp 0.0 NaN",
                "new a => 4 describe; 4 set gain 2.0; 4 set mode 1.0; 3 free",
                "new a =>" + NAMESAKE,
                "free a => 4 free",
                "new a => 5 describe; 5 set gain 2.0; 5 set mode 1.0");
        nothingIsLeft();
        Callable<?> twin = () -> { // it comes while the model is made
            Recorder.happenings.clear();
            return sim.doInstantiate("a", "");
        };
        Recorder.happenings.put("describe", twin);
        Script.play("new a => 1 describe; 2 describe; 2 set gain 2.0; 2 set mode 1.0;"
                + " 1 set gain 2.0; 1 set mode 1.0; 1 free" + NAMESAKE, "init a => 2 setUp 0.0 NaN;"
                + " 2 initialize [3.0, -1.0] [0.5, 0.25]");
        Recorder.happenings.put("describe", twin);
        Script.play("new a => 3 describe; 4 describe; 4 set gain 2.0; 4 set mode 1.0; 2 free;"
                + " 3 set gain 2.0; 3 set mode 1.0; 3 free" + NAMESAKE);
    }

    @Test
    public void instancesDoNotMeet() {
        Script.play(
                NEW, NEW.replace("new a", "new b").replace("1 ", "2 "),
                "set b 4 5",
                SET_UP, "setUp b 10 => 2 setUp 10.0 NaN", INIT, "init b => 2 initialize [5.0, -1.0] [0.5, 0.25]",
                STEP, "set b 6 3 => 2 set gain 3.0",
                "step b 10 1 => 2 step 10.0 1.0 [5.0, -1.0] [10.0, 0.25] = 26.0 0.25",
                "free a => 1 free",
                "step b 11 1 => 2 step 11.0 1.0 [5.0, -1.0] [26.0, 0.25] = 27.0 0.25");
    }

    @Test
    public void nameThatNobodyHasIsTold() {
        String unknown = "there is no instance 'c', expected one that was instantiated and not freed";
        Script.play(
                NEW,
                "setUp c 0 => = error ! " + unknown,
                "init c => = error ! " + unknown,
                "end c => ! " + unknown,
                "free c");
        assertFalse(sim.doStepModel("c", 0, 1, new double[0]));
        assertEquals(unknown, sim.getLasterror());
        assertNull(sim.getData("c"));
        assertEquals(unknown, assertThrows(IllegalStateException.class, () -> sim.setReal("c", 4, 1)).getMessage());
        assertEquals("", sim.getProp("c", "number_of_reals") + sim.getProp("a", "number_of_integers"));
    }
}
